// PERFCT: a synthetic list of error-free observations.
//
// Stars are laid on a spiral over the sphere (hour angle and declination
// stepping together, the steps growing with sec(dec) so the density stays
// even) and kept when within 80 degrees of the zenith; in each the
// telescope points exactly at the star.
#pragma once

namespace zenfit {

struct Engine;

// Fills the list for a site latitude (radians). Returns the number of stars
// stored, or -1 (with "Latitude out of range!") beyond +-90 degrees.
int generatePerfectStars(Engine& engine, double latitude);

void cmdPerfct(Engine& engine);

}  // namespace zenfit
