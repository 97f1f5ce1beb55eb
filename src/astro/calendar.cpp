// Calendar dates, epochs and the site's place on the Earth, over ERFA.
#include <cmath>

#include <erfam.h>

#include "astro/astro.h"

namespace zenfit::astro {

int calendarToMjd(int year, int month, int day, double& mjd) {
  double mjdZeroPoint = 0.0;
  double result = 0.0;
  // eraCal2jd applies the Gregorian rules (proleptic before 1582) and refuses
  // years before -4799; it still computes a date for a bad day, which we discard.
  const int status = eraCal2jd(year, month, day, &mjdZeroPoint, &result);
  if (status != 0) return status;
  mjd = result;
  return 0;
}

double besselianEpoch(double mjd) { return eraEpb(ERFA_DJM0, mjd); }

double julianEpoch(double mjd) { return eraEpj(ERFA_DJM0, mjd); }

void siteDistances(double latitude, double heightM, double& fromAxisAu, double& fromEquatorAu) {
  // Geocentric vector of a site on the WGS84 ellipsoid (a = 6378137 m,
  // 1/f = 298.257223563), height above the ellipsoid taken as height above
  // sea level (the geoid departs from it by at most ~100 m, 1e-5 of the
  // distance). Longitude 0 puts the whole equatorial component on x.
  double xyz[3] = {0.0, 0.0, 0.0};
  if (eraGd2gc(ERFA_WGS84, 0.0, latitude, heightM, xyz) != 0) {
    xyz[0] = xyz[1] = xyz[2] = 0.0;
  }
  const double metresPerAu = ERFA_DAU;
  fromAxisAu = std::hypot(xyz[0], xyz[1]) / metresPerAu;
  fromEquatorAu = xyz[2] / metresPerAu;
}

}  // namespace zenfit::astro
