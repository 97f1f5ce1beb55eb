! A letter where a number is expected is an empty field: each command acts
! as if that number had not been given.
USE IH ID
IH 12.5
IH X                  ! shows IH
ID Y5                 ! shows ID
FITTOL 0.02
FITTOL X              ! keeps 0.02
MARKH X               ! as MARKH alone
MESLEV X Y            ! as MESLEV alone
SLIST X               ! as SLIST alone
PERFCT X              ! at the latitude of the site, here none yet: 0
PERFCT 12 X           ! the X after the latitude is not read
MASK 2 X              ! observation 2 alone
REPLEN S
SLIST
PLTON
PLTZ X                ! the whole page
PENS X 4              ! the 4 is never reached: no pen changes
TXF X                 ! the fonts stay
TXP X                 ! the precision stays
VT X                  ! a region needs two numbers
END
