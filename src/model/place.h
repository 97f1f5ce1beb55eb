// The place at which a term's multipliers are evaluated, in two forms that
// answer the same questions:
//
//   ExactPlace  one point; every angle taken by atan2 from the point's
//               vector and every sine and cosine of an angle (or of a
//               multiple of it) by std::sin and std::cos. This is the
//               definition of a term's evaluation (evaluateTerm).
//   LanePlace   one lane of a PlaceBlock: the same sines and cosines read
//               straight from the components of the unit vector (sin E = z,
//               cos E = sqrt(x^2 + y^2), and likewise in the equatorial
//               frame), multiples by the angle-addition formulas. No
//               transcendental function is called unless a term asks for
//               an angle itself (polynomial generic terms), so a block of
//               places vectorises. The two agree to a few units in the last
//               place of a double.
//
// A standard term's multipliers are written once, as a generic lambda over
// either form (terms.cpp); a generic term's block is computed factor by
// factor over the block's sines and cosines (generic.cpp). Every accessor
// gives the value after the pier-side change of the hour angle and
// declination (h + pi, s pi - d, s the sign of the latitude).
#pragma once

#include <cmath>

#include "base/constants.h"
#include "model/wide_vectors.h"

namespace zenfit {

// (sin nx, cos nx) from (sin x, cos x) by repeated squaring of
// cos x + i sin x: exact for n = 1, a few units in the last place for
// small n, some n units for large n.
inline void multipleAngle(int n, double s, double c, double& sn, double& cn) {
  double rs = 0.0;
  double rc = 1.0;
  bool first = true;
  while (n > 0) {
    if ((n & 1) != 0) {
      if (first) {
        rs = s;
        rc = c;
        first = false;
      } else {
        const double t = rc * c - rs * s;
        rs = rs * c + rc * s;
        rc = t;
      }
    }
    n >>= 1;
    if (n > 0) {
      const double t = c * c - s * s;
      s = 2.0 * s * c;
      c = t;
    }
  }
  sn = rs;
  cn = rc;
}

// ---- The definition: one point, angles by atan2.

struct ExactPlace {
  double horizonVector[3];     // the base point, horizon frame
  double equatorialVector[3];  // the base point, equatorial frame
  double h;                    // hour angle (after the pier-side change)
  double d;                    // declination (after the pier-side change)
  double elevation;            // E
  double zenith;               // z = pi/2 - E
  double azimuthAngle;         // A = atan2(y, x), from the south through the east
  double latSin;
  double latCos;
  double auxiliary1;
  double auxiliary2;

  double horizon(int k) const { return horizonVector[k]; }
  double equatorial(int k) const { return equatorialVector[k]; }
  double sinLat() const { return latSin; }
  double cosLat() const { return latCos; }
  double aux1() const { return auxiliary1; }
  double aux2() const { return auxiliary2; }

  double sinH(double n = 1.0) const { return std::sin(n * h); }
  double cosH(double n = 1.0) const { return std::cos(n * h); }
  double sinD(double n = 1.0) const { return std::sin(n * d); }
  double cosD(double n = 1.0) const { return std::cos(n * d); }
  double sinHMinusD() const { return std::sin(h - d); }
  double cosHMinusD() const { return std::cos(h - d); }
  double sinE() const { return std::sin(elevation); }
  double cosE() const { return std::cos(elevation); }
  double sinZ() const { return std::sin(zenith); }
  double cosZ() const { return std::cos(zenith); }
  double sinA() const { return std::sin(azimuthAngle); }
  double cosA() const { return std::cos(azimuthAngle); }

  // The coordinates of generic terms: H hour angle, D declination, A
  // horizon longitude, Z zenith distance, Q parallactic angle (radians).
  double angle(char letter) const {
    switch (letter) {
      case 'H': return h;
      case 'D': return d;
      case 'A': return azimuthAngle;
      case 'Z': return zenith;
      case 'Q': return parallacticAngle();
      default: return 0.0;
    }
  }
  double sinOf(char letter, double n) const { return std::sin(n * angle(letter)); }
  double cosOf(char letter, double n) const { return std::cos(n * angle(letter)); }

  // atan2(sin h cos phi, sin phi cos d - cos phi sin d cos h) (Meeus,
  // Astronomical Algorithms, eq. 14.1).
  double parallacticAngle() const {
    return std::atan2(std::sin(h) * latCos,
                      latSin * std::cos(d) - latCos * std::sin(d) * std::cos(h));
  }
};

// ---- Many points at once.

// Observations evaluated together: the fit and the model's other users run
// every term over a block of this many observations before the next term.
inline constexpr int kPlaceBlock = 64;

// The observations of a block: their pier flags and auxiliary readings.
struct LaneData {
  int count = 0;             // lanes in use; the rest repeat the last one
  double flip[kPlaceBlock];  // -1 over the pole, else +1
  double aux1[kPlaceBlock];
  double aux2[kPlaceBlock];
};

// A block of unit vectors taken apart: the components in both frames, the
// horizontal radius of each and the sines and cosines of the longitude.
// Where a radius is not above 1e-20 (within that many radians of the
// zenith or the pole) the longitude counts as 0 (sine 0, cosine 1), as
// atan2(0, 0) does and as the displacements of evaluateTerm take it.
struct PlaceBlock {
  double x[kPlaceBlock], y[kPlaceBlock], z[kPlaceBlock];     // horizon frame
  double rh[kPlaceBlock];                                    // sqrt(x^2 + y^2) = cos E
  double cosA[kPlaceBlock], sinA[kPlaceBlock];               // A = atan2(y, x)
  double ex[kPlaceBlock], ey[kPlaceBlock], ez[kPlaceBlock];  // equatorial frame
  double re[kPlaceBlock];                                    // sqrt(ex^2 + ey^2) = cos d
  double cosL[kPlaceBlock], sinL[kPlaceBlock];               // L = atan2(ey, ex) = -h
  const LaneData* lanes = nullptr;
  double latSin = 0.0;
  double latCos = 1.0;
};

inline constexpr double kPoleRadius = 1e-20;

// Takes apart the vectors (x, y, z) of a whole block (sinLat, cosLat: the
// site latitude).
ZENFIT_ALWAYS_INLINE void decompose(const double* __restrict x, const double* __restrict y,
                                    const double* __restrict z, double sinLat, double cosLat,
                                    const LaneData& lanes, PlaceBlock& p) {
  p.lanes = &lanes;
  p.latSin = sinLat;
  p.latCos = cosLat;
  for (int i = 0; i < kPlaceBlock; ++i) {
    const double hx = x[i], hy = y[i], hz = z[i];
    p.x[i] = hx;
    p.y[i] = hy;
    p.z[i] = hz;
    const double rh = std::sqrt(hx * hx + hy * hy);
    p.rh[i] = rh;
    const bool horizontal = rh > kPoleRadius;
    const double safeRh = horizontal ? rh : 1.0;
    const double cosA = hx / safeRh;
    const double sinA = hy / safeRh;
    p.cosA[i] = horizontal ? cosA : 1.0;
    p.sinA[i] = horizontal ? sinA : 0.0;
    // The equatorial form, as horizonToEquatorial forms it.
    const double ex = hx * sinLat + hz * cosLat;
    const double ey = hy;
    const double ez = hz * sinLat - hx * cosLat;
    p.ex[i] = ex;
    p.ey[i] = ey;
    p.ez[i] = ez;
    const double re = std::sqrt(ex * ex + ey * ey);
    p.re[i] = re;
    const bool offPole = re > kPoleRadius;
    const double safeRe = offPole ? re : 1.0;
    const double cosL = ex / safeRe;
    const double sinL = ey / safeRe;
    p.cosL[i] = offPole ? cosL : 1.0;
    p.sinL[i] = offPole ? sinL : 0.0;
  }
}

// One lane of a PlaceBlock, with ExactPlace's accessors.
class LanePlace {
 public:
  LanePlace(const PlaceBlock& block, int lane) : b_(block), i_(lane) {}

  double horizon(int k) const { return k == 0 ? b_.x[i_] : k == 1 ? b_.y[i_] : b_.z[i_]; }
  double equatorial(int k) const { return k == 0 ? b_.ex[i_] : k == 1 ? b_.ey[i_] : b_.ez[i_]; }
  double sinLat() const { return b_.latSin; }
  double cosLat() const { return b_.latCos; }
  double aux1() const { return b_.lanes->aux1[i_]; }
  double aux2() const { return b_.lanes->aux2[i_]; }

  // Over the pole h + pi turns both of h's functions, pi - d only cos d.
  double sinH(double n = 1.0) const { return multiple(n, sinH1(), cosH1(), true); }
  double cosH(double n = 1.0) const { return multiple(n, sinH1(), cosH1(), false); }
  double sinD(double n = 1.0) const { return multiple(n, sinD1(), cosD1(), true); }
  double cosD(double n = 1.0) const { return multiple(n, sinD1(), cosD1(), false); }
  double sinHMinusD() const { return sinH1() * cosD1() - cosH1() * sinD1(); }
  double cosHMinusD() const { return cosH1() * cosD1() + sinH1() * sinD1(); }
  double sinE() const { return b_.z[i_]; }
  double cosE() const { return b_.rh[i_]; }
  double sinZ() const { return b_.rh[i_]; }
  double cosZ() const { return b_.z[i_]; }
  double sinA() const { return b_.sinA[i_]; }
  double cosA() const { return b_.cosA[i_]; }

  double angle(char letter) const {
    const double flip = b_.lanes->flip[i_];
    switch (letter) {
      case 'H': {
        const double h = -std::atan2(b_.ey[i_], b_.ex[i_]);
        return flip < 0.0 ? h + kPi : h;
      }
      case 'D': {
        const double d = std::atan2(b_.ez[i_], b_.re[i_]);
        return flip < 0.0 ? (b_.latSin < 0.0 ? -kPi : kPi) - d : d;
      }
      case 'A': return std::atan2(b_.y[i_], b_.x[i_]);
      case 'Z': return kHalfPi - std::atan2(b_.z[i_], b_.rh[i_]);
      case 'Q': {
        double s = 0.0, c = 0.0;
        parallactic(s, c);
        return std::atan2(s, c);
      }
      default: return 0.0;
    }
  }

 private:
  double sinH1() const { return -b_.lanes->flip[i_] * b_.sinL[i_]; }
  double cosH1() const { return b_.lanes->flip[i_] * b_.cosL[i_]; }
  double sinD1() const { return b_.ez[i_]; }
  double cosD1() const { return b_.lanes->flip[i_] * b_.re[i_]; }

  static double multiple(double n, double s, double c, bool sine) {
    if (n == 1.0) return sine ? s : c;
    if (n == 2.0) return sine ? 2.0 * s * c : c * c - s * s;
    double sn = 0.0, cn = 1.0;
    multipleAngle(static_cast<int>(n), s, c, sn, cn);
    return sine ? sn : cn;
  }

  // sin q and cos q of the parallactic angle: its atan2 arguments scaled
  // to unit length.
  void parallactic(double& s, double& c) const {
    const double y = sinH1() * b_.latCos;
    const double x = b_.latSin * cosD1() - b_.latCos * sinD1() * cosH1();
    const double r = std::sqrt(x * x + y * y);
    s = r > 0.0 ? y / r : 0.0;
    c = r > 0.0 ? x / r : 1.0;
  }

  const PlaceBlock& b_;
  int i_;
};

}  // namespace zenfit
