show
quit
