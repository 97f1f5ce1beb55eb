! Terms the data cannot tell apart: over a band of sky within 30 degrees of
! the equator, all on one side of the pier, CH (sec d) is nearly IH.
INDAT equator
USE IH ID CH
FIT                 ! a correlation of -0.999: warned, but not edited
FITTOL 0.1
FIT                 ! now the weak combination is dropped
USE AUX2H
FIT                 ! a term that never acts: always zero
FITTOL 0
FIT                 ! no editing: the full sigmas again
END
