! A model file written after a fit: its statistics record counts the
! observations and gives the sky RMS. RESET gives the observations back
! their input places, and INMOD brings the fitted model back.
INDAT run
USE IH ID CH NP ME MA TF
FIT
FIT
OUTMOD fitted
RESET
SLIST
INMOD fitted
CLIST
FIT N
END
