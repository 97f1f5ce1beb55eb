show
! a comment line
	echo   on	! tabs and a comment
gscatter
MESLEV 9 9
markh 1.5
VT 5 6
CLRNG ON
CLRNG
APPEND
call outer
SHOW
END
