// From the geocentric apparent place to the place seen at the site: diurnal
// aberration and the turn between equatorial and horizon frames.
#include <erfa.h>
#include <erfam.h>

#include "astro/astro.h"
#include "astro/vectors.h"

namespace zenfit::astro {

double diurnalAberrationConstant(double fromAxisAu) {
  // The site's speed in units of c: 2 pi (1.0027379093 sidereal days per
  // solar day) x distance (AU) / c (173.14463331 AU per day).
  constexpr double kSiderealRate = 1.0027379093;
  constexpr double kLightAuPerDay = 173.14463331;
  return fromAxisAu * ERFA_D2PI * kSiderealRate / kLightAuPerDay;
}

void applyDiurnalAberration(double diurab, double v[3]) {
  // The site moves toward the east point (+y). To first order in diurab the
  // direction moves toward it by diurab x the sine of the angle between
  // them, and the factor f keeps the vector's length at 1.
  const double f = 1.0 - diurab * v[1];
  v[0] = f * v[0];
  v[1] = f * (v[1] + diurab);
  v[2] = f * v[2];
}

void haDecToHorizon(double ha, double dec, double sinLat, double cosLat, double diurab,
                    double horizon[3]) {
  double equatorial[3];
  sphericalToVector(-ha, dec, equatorial);
  applyDiurnalAberration(diurab, equatorial);
  equatorialToHorizon(equatorial, sinLat, cosLat, horizon);
}

void haDecToHorizon(double ha, double dec, double sinLat, double cosLat, double horizon[3]) {
  double equatorial[3];
  sphericalToVector(-ha, dec, equatorial);
  equatorialToHorizon(equatorial, sinLat, cosLat, horizon);
}

void horizonToHaDec(const double horizon[3], double sinLat, double cosLat, double& ha,
                    double& dec) {
  double equatorial[3];
  horizonToEquatorial(horizon, sinLat, cosLat, equatorial);
  double longitude = 0.0;
  vectorToSpherical(equatorial, longitude, dec);
  ha = -longitude;
}

void splitHours(int decimals, double angle, char& sign, int fields[4]) {
  eraA2tf(decimals, angle, &sign, fields);
}

void splitDegrees(int decimals, double angle, char& sign, int fields[4]) {
  eraA2af(decimals, angle, &sign, fields);
}

}  // namespace zenfit::astro
