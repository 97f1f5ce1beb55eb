! FIT, FIT N, SLIST and UNFIT on sixteen stars, five of them over the pole.
INDAT run
USE IH ID CH NP ME MA TF
PARAL NP
FIT N               ! the observations as they stand
FIT                 ! one linearised step from zero
FIT                 ! the second step converges
SLIST
SLIST 2             ! only the stars 2 arcseconds or more out
UNFIT               ! the model taken off the fitted positions ...
FIT N               ! ... and put back on: the same positions again
SLIST
END
