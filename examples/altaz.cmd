! Example session: a pointing run of a 2.0-m altazimuth telescope, written
! as horizon records. Run it in this folder with:  ../build/zenfit altaz.cmd / / /
INDAT altaz                   ! read altaz.dat
USE IA IE CA NPAE AN AW TF    ! the model (see PROC ALTAZ in procs.dat)
FIT
FIT
SLIST
PLTON altaz.png               ! plots to altaz-001.png, altaz-002.png, ...
GAM                           ! residuals against azimuth and zenith distance
GSCAT H                       ! the scatter diagram, horizon components
GMAP                          ! the residual vectors on the sky
GHYST H                       ! histograms of the residuals
PLTOFF
OUTMOD altmod                 ! the fitted model, to altmod.dat
END
