! Example session: a night's pointing run of a 1.0-m telescope on a German
! equatorial mount. The star catalogue (stars.dat) and this folder's
! procedure library (procs.dat) are loaded at start-up.
INDAT run                     ! read run.dat and reduce every star
USE IH ID CH NP ME MA TF DAF  ! the model (see PROC GEM in procs.dat)
FIT                           ! one linearised step from zero ...
FIT                           ! ... and a second one, which converges
SLIST                         ! every star's residuals
PLTON gem.png                 ! plots to gem-001.png, gem-002.png, ...
GC                            ! residuals against hour angle and declination
GSCAT                         ! the scatter diagram
GMAP                          ! the residual vectors on the sky
GHYST                         ! histograms of the residuals
PLTOFF
OUTMOD model                  ! the fitted model, to model.dat
END
