// SLIST: the residual listing.
//
// Star by star, the telescope position of each observation (the working
// telescope pair) and five differences, star minus telescope, between the
// working star and telescope pairs, in arcseconds:
//   dX  hour angle difference times cos(declination), the hour angle
//       difference taken in -pi .. +pi;
//   dD  declination difference;
//   dS  azimuth difference times cos(elevation), likewise wrapped;
//   dZ  zenith-distance difference;
//   dR  chord between the two directions, the total error;
// followed by their RMS over the active stars.
#pragma once

namespace zenfit {

struct Engine;

// SLIST [threshold]: the threshold in arcseconds (default 0) restricts the
// per-star lines to active stars whose dR reaches it; at 0 every star is
// listed, inactive ones without differences. REPLEN S or N gives only the
// count and the RMS.
void cmdSlist(Engine& engine);

// The listing itself, threshold in radians. Returns 1 when the host asked
// to stop, else 0. Changes nothing in the model or the observations.
int listResiduals(Engine& engine, double threshold);

}  // namespace zenfit
