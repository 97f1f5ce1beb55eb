! The number of MASK N runs from 1 to the number of observations.
INDAT obs
REPLEN S
MASK N > 0            ! refused: 0 is no observation number
MASK N >              ! refused: the missing value counts as 0
MASK N > 5            ! refused: there are four
MASK N > 2.5          ! refused: not a whole number
MASK N > 4            ! accepted, and masks nothing
SLIST
MASK N > 2            ! masks observations 3 and 4
SLIST
UNMASK N < 4          ! brings back 3
SLIST
END
