// Direction vectors and the two frames the engine works in.
//
// Equatorial frame of date: x toward hour angle 0 and declination 0, y
// toward hour angle -6h (the east point), z toward the north celestial
// pole. A place (hour angle h, declination d) is the unit vector of
// longitude -h and latitude d.
//
// Horizon frame: x toward the south point, y toward the east point, z
// toward the zenith. Its longitude A = atan2(y, x) runs from the south
// through the east; its latitude is the elevation. The azimuth from the
// north through the east is pi - A.
//
// The two frames differ by a rotation about the east-west axis through the
// colatitude, given here by the sine and cosine of the site latitude.
#pragma once

namespace zenfit {

// Unit vector of longitude lon and latitude lat (radians).
void sphericalToVector(double lon, double lat, double v[3]);

// Longitude atan2(y, x) and latitude atan2(z, sqrt(x*x + y*y)); each is 0
// when both of its arguments are 0.
void vectorToSpherical(const double v[3], double& lon, double& lat);

// Equatorial form of a horizon vector: (x sinLat + z cosLat, y, z sinLat - x cosLat).
void horizonToEquatorial(const double h[3], double sinLat, double cosLat, double e[3]);

// Horizon form of an equatorial vector: (x sinLat - z cosLat, y, z sinLat + x cosLat).
void equatorialToHorizon(const double e[3], double sinLat, double cosLat, double h[3]);

// Divides v by its length when the length exceeds 1e-20.
void normalise(double v[3]);

// Angle brought into -pi .. +pi, and into 0 .. 2pi.
double wrapPi(double angle);
double wrapTwoPi(double angle);

}  // namespace zenfit
