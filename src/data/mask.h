// Masking: taking observations out of use and putting them back.
//
// A masked observation keeps its slot and its number; only its status
// changes (0 masked, 1 active). Observations are chosen by a range of
// numbers or by a condition on a quantity: H hour angle (hours), D
// declination (degrees), A azimuth (degrees, north through east), Z zenith
// distance (degrees), R residual (arcseconds), N number; "<" or "L" below,
// ">" or "G" above, both strict. The positions are the star's input copy.
#pragma once

#include "data/observations.h"

namespace zenfit {

enum class MaskResult { Done, BadValue, BadCondition, BadQuantity };

// True for the quantity letters above (upper case).
bool isMaskQuantity(char quantity);
// +1 above, -1 below, 0 not a condition (upper case).
int maskConditionSense(char condition);
// Whether value, in the quantity's own unit, is one the quantity can take:
// hour angles -12 to 12, declinations -90 to 90, azimuths 0 to 360,
// zenith distances 0 to 90, residuals from 0, numbers 1 to the count.
bool maskValueInRange(const ObservationList& list, char quantity, double value);

// Sets newStatus on every observation before the end mark (masked or not)
// whose quantity is below or above value. A refused call changes nothing.
MaskResult maskByCondition(ObservationList& list, const RunState& run, char quantity,
                           char condition, double value, int newStatus);

// Sets newStatus on observations first to last (1-based, either order).
// BadValue when a number is outside 1 to the count.
MaskResult maskByNumber(ObservationList& list, int first, int last, int newStatus);

// Sets newStatus on every observation before the end mark.
void maskAll(ObservationList& list, int newStatus);

}  // namespace zenfit
