! Example session: a pointing run of a 2.0-m altazimuth telescope, written
! as horizon records. Run it in this folder with:  ../build/zenfit altaz.cmd / / /
INDAT altaz                   ! read altaz.dat
USE IA IE CA NPAE AN AW TF    ! the model (see PROC ALTAZ in procs.dat)
FIT
FIT
SLIST
OUTMOD altmod                 ! the fitted model, to altmod.dat
END
