// PERFCT: a synthetic list of error-free observations.
//
// Stars are laid on a spiral over the sphere (hour angle and declination
// stepping together, the steps growing with sec(dec) so the density stays
// even) and kept when within 80 degrees of the zenith; in each the
// telescope points exactly at the star.
#pragma once

#include "data/observations.h"

namespace zenfit {

// Fills the list for a site latitude (radians) and sets the run's latitude
// and caption. Returns the number of stars stored, or -1 beyond +-90
// degrees (then nothing changes).
int generatePerfectStars(ObservationList& list, RunState& run, double latitude);

}  // namespace zenfit
