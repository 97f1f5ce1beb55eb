// Mean place J2000.0 to geocentric apparent place of date, over ERFA.
#include <erfam.h>

#include "astro/astro.h"

namespace zenfit::astro {

void prepareMeanToApparent(double mjd, ApparentPlaceContext& context) {
  // eraApci13 wants TDB; TT differs from it by under 2 ms, which is nothing
  // here. It models the Earth's barycentric position and velocity (for
  // aberration and light deflection by the Sun) and the IAU 2006/2000A
  // bias-precession-nutation matrix, and returns the equation of the
  // origins, ERA - GAST, which turns CIRS right ascensions into
  // equinox-based ones.
  eraApci13(ERFA_DJM0, mjd, &context.astrom, &context.eo);
  context.mjd = mjd;
}

void meanToApparent(double ra, double dec, const ApparentPlaceContext& context, double& raApparent,
                    double& decApparent) {
  // The catalogue's FK5 J2000.0 frame is taken as the ICRS: they differ by
  // the frame bias (about 20 mas), below the FK5 catalogue's own accuracy.
  double raCirs = 0.0;
  double decCirs = 0.0;
  // eraAtciqz only reads the parameters; its C interface lacks the const.
  eraAtciqz(ra, dec, const_cast<eraASTROM*>(&context.astrom), &raCirs, &decCirs);
  raApparent = eraAnp(raCirs - context.eo);
  decApparent = decCirs;
}

}  // namespace zenfit::astro
