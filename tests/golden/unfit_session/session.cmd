! UNFIT N and the arguments of FIT and UNFIT.
INDAT run
USE IH ID CH NP ME MA TF
FIT
FIT
FIT X               ! refused
UNFIT ALL           ! refused
UNFIT N             ! the fitted positions become the input positions ...
FIT N               ! ... so the model now applies twice
SLIST 5             ! and the stars it moves most show it
END
