! Example session: a night's pointing run of a 1.0-m telescope on a German
! equatorial mount. The star catalogue (stars.dat) and this folder's
! procedure library (procs.dat) are loaded at start-up.
INDAT run                     ! read run.dat and reduce every star
USE IH ID CH NP ME MA TF DAF  ! the model (see PROC GEM in procs.dat)
FIT                           ! one linearised step from zero ...
FIT                           ! ... and a second one, which converges
SLIST                         ! every star's residuals
OUTMOD model                  ! the fitted model, to model.dat
END
