// MASK and UNMASK: take observations out of use and put them back.
//
// A masked observation keeps its slot and its number; only its status
// changes (0 masked, 1 active). Observations are chosen by a range of
// numbers or by a condition on a quantity: H hour angle (hours), D
// declination (degrees), A azimuth (degrees, north through east), Z zenith
// distance (degrees), R residual (arcseconds), N number; "<" or "L" below,
// ">" or "G" above, both strict.
#pragma once

namespace zenfit {

struct Engine;

// Results of the workers.
inline constexpr int kMaskBadValue = -1;
inline constexpr int kMaskBadCondition = -2;
inline constexpr int kMaskBadQuantity = -3;

// Sets newStatus on every observation before the end mark (masked or not)
// whose quantity is below ('<', 'L') or above ('>', 'G') value, given in the
// quantity's own unit. Returns 0 or one of the codes above; a refused call
// changes nothing.
int maskByCondition(Engine& engine, char quantity, char condition, double value, int newStatus);

// Sets newStatus on observations first to last (1-based, either order).
// Returns 0 or kMaskBadValue when a number is outside 1 to the count.
int maskByNumber(Engine& engine, int first, int last, int newStatus);

void cmdMask(Engine& engine);
void cmdUnmask(Engine& engine);

}  // namespace zenfit
