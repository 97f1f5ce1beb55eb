INST cat
INDAT faults
INDAT allsky
INDAT frame
INDAT four
INDAT five
INDAT year
INDAT day
INDAT feb30
INDAT hot
INDAT hotter
INDAT wet
INDAT noair
INDAT option
INDAT caption
INDAT empty
END
