#include "astro/vectors.h"

#include <cmath>

#include "base/constants.h"

namespace zenfit {

void sphericalToVector(double lon, double lat, double v[3]) {
  const double c = std::cos(lat);
  v[0] = std::cos(lon) * c;
  v[1] = std::sin(lon) * c;
  v[2] = std::sin(lat);
}

void vectorToSpherical(const double v[3], double& lon, double& lat) {
  const double r = std::sqrt(v[0] * v[0] + v[1] * v[1]);
  lon = (v[0] == 0.0 && v[1] == 0.0) ? 0.0 : std::atan2(v[1], v[0]);
  lat = (r == 0.0 && v[2] == 0.0) ? 0.0 : std::atan2(v[2], r);
}

void horizonToEquatorial(const double h[3], double sinLat, double cosLat, double e[3]) {
  const double x = h[0] * sinLat + h[2] * cosLat;
  const double y = h[1];
  const double z = h[2] * sinLat - h[0] * cosLat;
  e[0] = x;
  e[1] = y;
  e[2] = z;
}

void equatorialToHorizon(const double e[3], double sinLat, double cosLat, double h[3]) {
  const double x = e[0] * sinLat - e[2] * cosLat;
  const double y = e[1];
  const double z = e[2] * sinLat + e[0] * cosLat;
  h[0] = x;
  h[1] = y;
  h[2] = z;
}

void normalise(double v[3]) {
  const double length = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
  if (length > 1e-20) {
    v[0] /= length;
    v[1] /= length;
    v[2] /= length;
  }
}

double wrapPi(double angle) {
  double a = std::fmod(angle, kTwoPi);
  if (a > kPi) a -= kTwoPi;
  if (a < -kPi) a += kTwoPi;
  return a;
}

double wrapTwoPi(double angle) {
  double a = std::fmod(angle, kTwoPi);
  if (a < 0.0) a += kTwoPi;
  return a;
}

}  // namespace zenfit
