#include "model/evaluate.h"

#include <cmath>
#include <cstring>

#include "astro/vectors.h"
#include "engine.h"

namespace zenfit {
namespace {

// How a term's multipliers act on a direction.
//   HourDec      m[0] added to the hour angle, m[1] to the declination.
//   AlongDec     m[0] a true displacement along the parallel towards
//                increasing hour angle, m[1] towards the north pole.
//   AzEl         m[0] added to the horizon longitude A, m[1] to the elevation.
//   SideEl       m[0] a true displacement across the vertical circle
//                towards increasing A, m[1] towards the zenith.
//   Vector       m added to the equatorial form of the direction.
//   VectorHorizon m added to the horizon form of the direction.
enum class Kind { HourDec, AlongDec, AzEl, SideEl, Vector, VectorHorizon };

struct Correction {
  Kind kind = Kind::HourDec;
  double m[3] = {0.0, 0.0, 0.0};
};

Correction make(Kind kind, double m0, double m1, double m2 = 0.0) {
  Correction c;
  c.kind = kind;
  c.m[0] = m0;
  c.m[1] = m1;
  c.m[2] = m2;
  return c;
}

// Everything a multiplier may depend on, taken at the base point.
struct Place {
  double horizon[3];     // the base point, horizon frame
  double equatorial[3];  // the base point, equatorial frame
  double h;              // hour angle (after the pier-side change)
  double d;              // declination (after the pier-side change)
  double elevation;      // E
  double zenithDistance; // pi/2 - E
  double azimuth;        // A = atan2(y, x), from the south through the east
  double sinLat;
  double cosLat;
  double aux1;
  double aux2;
};

Place placeAt(const Engine& engine, const double base[3], const double aux[3], int pierFlag) {
  Place p;
  std::memcpy(p.horizon, base, sizeof p.horizon);
  p.sinLat = engine.run.sinLat;
  p.cosLat = engine.run.cosLat;
  vectorToSpherical(base, p.azimuth, p.elevation);
  p.zenithDistance = kHalfPi - p.elevation;
  horizonToEquatorial(base, p.sinLat, p.cosLat, p.equatorial);
  double longitude = 0.0;
  vectorToSpherical(p.equatorial, longitude, p.d);
  p.h = -longitude;
  if (pierFlag != 0) {
    // Over the pole the mount reads the same sky with h + 12h and the
    // declination mirrored about the pole.
    const double side = p.sinLat < 0.0 ? -1.0 : 1.0;
    p.h += kPi;
    p.d = side * kPi - p.d;
  }
  p.aux1 = aux[0];
  p.aux2 = aux[1];
  return p;
}

// Unit vector across the vertical circle towards increasing A, (-y, x, 0)/r;
// zero at the zenith and nadir.
void sideways(const Place& p, double s[3]) {
  const double x = p.horizon[0];
  const double y = p.horizon[1];
  const double r = std::sqrt(x * x + y * y);
  s[0] = s[1] = s[2] = 0.0;
  if (r > 1e-20) {
    s[0] = -y / r;
    s[1] = x / r;
  }
}

// Twelve-term empirical flexure shapes. HFX, a displacement along the
// parallel, uses only functions odd in the hour angle, and HFD, in
// declination, only functions even in it: a mount that is symmetric about
// the meridian flexes that way.
inline constexpr double kHfxWeights[12] = {0.723, 0.633, 1.279, 1.718, 1.202, 0.219,
                                           0.368, 0.195, 1.928, 3.662, 0.381, 1.156};
inline constexpr double kHfdWeights[12] = {1.000, 0.500, 0.800, 0.600, 0.300, 0.250,
                                           0.150, 0.700, 0.400, 0.200, 0.350, 0.100};

double hfxShape(const Place& p) {
  const double h = p.h, d = p.d, z = p.zenithDistance;
  const double g[12] = {
      std::sin(h),                     std::sin(2.0 * h),
      std::sin(3.0 * h),               std::sin(h) * std::cos(d),
      std::sin(h) * std::sin(d),       std::sin(2.0 * h) * std::cos(d),
      std::sin(2.0 * h) * std::sin(d), std::sin(h) * std::cos(2.0 * d),
      std::sin(h) * std::sin(z),       std::sin(h) * std::cos(z),
      std::sin(3.0 * h) * std::cos(d), std::sin(h) * std::sin(2.0 * d),
  };
  double sum = 0.0;
  for (int i = 0; i < 12; ++i) sum += kHfxWeights[i] * g[i];
  return sum;
}

double hfdShape(const Place& p) {
  const double h = p.h, d = p.d, z = p.zenithDistance;
  const double g[12] = {
      std::cos(h),                     std::cos(2.0 * h),
      std::cos(h) * std::sin(d),       std::cos(h) * std::cos(d),
      std::cos(2.0 * h) * std::sin(d), std::cos(2.0 * h) * std::cos(d),
      std::cos(3.0 * h),               std::sin(z),
      std::cos(h) * std::sin(z),       std::cos(2.0 * d),
      std::sin(2.0 * d),               std::cos(h) * std::cos(2.0 * d),
  };
  double sum = 0.0;
  for (int i = 0; i < 12; ++i) sum += kHfdWeights[i] * g[i];
  return sum;
}

// The standard terms, index 1..54 in catalogue order: the multipliers of
// one unit of coefficient. The comments give the classical first-order
// effect where it is not plain from the multiplier.
Correction standardCorrection(int index, const Place& p) {
  const double h = p.h, d = p.d, E = p.elevation, A = p.azimuth;
  const double sinPhi = p.sinLat, cosPhi = p.cosLat;
  const double* eq = p.equatorial;
  const double* hz = p.horizon;
  double s[3];
  switch (index) {
    case 1: return make(Kind::HourDec, 1.0, 0.0);                         // IH: index error in h
    case 2: return make(Kind::HourDec, 0.0, 1.0);                         // ID: index error in d
    case 3: return make(Kind::HourDec, p.aux1, 0.0);                      // ZH: as AUX1H
    case 4: return make(Kind::AlongDec, std::sin(d), 0.0);                // NP: dh = NP tan d
    case 5: return make(Kind::AlongDec, 1.0, 0.0);                        // CH: dh = CH sec d
    case 6: return make(Kind::AlongDec, std::sin(h), 0.0);                // HF: horseshoe flexure
    case 7:
      // ZE: the part of the tube's sag that lies along the declination
      // circle, -sin z cos q (q the parallactic angle), for mounts whose
      // tube bends differently along and across that circle. With HF it
      // spans TF: TF = cos(phi) HF + ZE to first order.
      return make(Kind::AlongDec, 0.0,
                  -(sinPhi * std::cos(d) - cosPhi * std::sin(d) * std::cos(h)));
    case 8: return make(Kind::Vector, -eq[2], 0.0, eq[0]);                // ME: polar axis elevated
    case 9: return make(Kind::Vector, 0.0, eq[2], -eq[1]);                // MA: polar axis E-W
    case 10: return make(Kind::AzEl, 0.0, -std::cos(E));                  // TF: tube flexure, sin z
    case 11: return make(Kind::AzEl, 0.0, -std::cos(E) / std::sin(E));    // TX: tube flexure, tan z
    case 12: return make(Kind::HourDec, 0.0, std::cos(h));                // FO: fork flexure
    case 13: return make(Kind::AzEl, 0.0, 1.0);                           // IE: index error in E
    case 14: return make(Kind::AzEl, 1.0, 0.0);                           // IA: index error in A
    case 15: return make(Kind::HourDec, std::sin(h), 0.0);                // HCES
    case 16: return make(Kind::HourDec, std::cos(h), 0.0);                // HCEC
    case 17: return make(Kind::HourDec, 0.0, std::sin(d));                // DCES
    case 18: return make(Kind::HourDec, 0.0, std::cos(d));                // DCEC
    case 19: return make(Kind::AlongDec, std::sin(h) * std::sin(d), 0.0); // DNP
    case 20: return make(Kind::AlongDec, std::cos(2.0 * h), 0.0);         // X2HC
    case 21: return make(Kind::HourDec, std::sin(40.0 * h), 0.0);         // HGES: gear
    case 22: return make(Kind::HourDec, std::cos(40.0 * h), 0.0);         // HGEC
    case 23: return make(Kind::HourDec, 0.0, std::sin(40.0 * d));         // DGES
    case 24: return make(Kind::HourDec, 0.0, std::cos(40.0 * d));         // DGEC
    case 25:
      // TFP: the tube's sag amplified by the axial load it carries (the
      // beam-column, or "P-delta", effect): lateral load sin z times axial
      // load cos z.
      return make(Kind::AzEl, 0.0, -std::sin(E) * std::cos(E));
    case 26:
      // CA: left-right collimation of an altazimuth mount: a constant
      // sideways shift, dA = CA sec E.
      sideways(p, s);
      return make(Kind::VectorHorizon, s[0], s[1], s[2]);
    // The coude terms. In a polar coude train the beam leaves the tube
    // along the declination axis (M3), turns down the polar axis at M4 and
    // reaches a fixed focus (M5 and beyond). A tilt of M4, which turns with
    // the hour angle, moves the sky by a fixed amount turned through d; an
    // offset fixed in the coude focus turns through d - h. A and B are the
    // two orthogonal senses, given as (along the parallel, in declination).
    case 27: return make(Kind::AlongDec, -std::sin(d), std::cos(d));                // CD4A
    case 28: return make(Kind::AlongDec, std::cos(d), std::sin(d));                 // CD4B
    case 29: return make(Kind::AlongDec, std::cos(h - d), -std::sin(h - d));        // CD5A
    case 30: return make(Kind::AlongDec, std::sin(h - d), std::cos(h - d));         // CD5B
    case 31: return make(Kind::VectorHorizon, -hz[2], 0.0, hz[0]);         // AN: az axis tilt N
    case 32: return make(Kind::VectorHorizon, 0.0, -hz[2], hz[1]);         // AW: az axis tilt W
    case 33:
      // NPAE: azimuth and elevation axes not perpendicular: a sideways
      // shift of sin E, dA = NPAE tan E.
      sideways(p, s);
      return make(Kind::VectorHorizon, hz[2] * s[0], hz[2] * s[1], 0.0);
    case 34: return make(Kind::AzEl, std::sin(A), 0.0);                    // ACES: azimuth centring
    case 35: return make(Kind::AzEl, std::cos(A), 0.0);                    // ACEC
    case 36: return make(Kind::AzEl, 0.0, std::sin(A));                    // ECES: E centring
    case 37: return make(Kind::AzEl, 0.0, std::cos(A));                    // ECEC
    // Nasmyth rotator displacement: a fixed offset in the Nasmyth focal
    // plane, seen on the sky turned through the elevation.
    case 38: return make(Kind::SideEl, std::cos(E), -std::sin(E));         // NRX: horizontal
    case 39: return make(Kind::SideEl, std::sin(E), std::cos(E));          // NRY: vertical
    case 40: return make(Kind::HourDec, p.aux1, 0.0);                      // AUX1H
    case 41: return make(Kind::AlongDec, p.aux1, 0.0);                     // AUX1X
    case 42: return make(Kind::HourDec, 0.0, p.aux1);                      // AUX1D
    case 43: return make(Kind::AzEl, p.aux1, 0.0);                         // AUX1A
    case 44: return make(Kind::SideEl, p.aux1, 0.0);                       // AUX1S
    case 45: return make(Kind::AzEl, 0.0, p.aux1);                         // AUX1E
    case 46: return make(Kind::HourDec, p.aux2, 0.0);                      // AUX2H
    case 47: return make(Kind::AlongDec, p.aux2, 0.0);                     // AUX2X
    case 48: return make(Kind::HourDec, 0.0, p.aux2);                      // AUX2D
    case 49: return make(Kind::AzEl, p.aux2, 0.0);                         // AUX2A
    case 50: return make(Kind::SideEl, p.aux2, 0.0);                       // AUX2S
    case 51: return make(Kind::AzEl, 0.0, p.aux2);                         // AUX2E
    case 52:
      // DAF: declination-axis flexure, -sin E along the parallel.
      return make(Kind::AlongDec,
                  -(cosPhi * std::cos(h) * std::cos(d) + sinPhi * std::sin(d)), 0.0);
    case 53: return make(Kind::AlongDec, hfxShape(p), 0.0);                // HFX
    case 54: return make(Kind::AlongDec, 0.0, hfdShape(p));                // HFD
    default: return Correction{};
  }
}

// Site terms: none are installed in this build, so every index is a no-op.
Correction localCorrection(int /*index*/, const Place& /*p*/) { return Correction{}; }

// The parallactic angle at (h, d): atan2(sin h cos phi, sin phi cos d -
// cos phi sin d cos h) (Meeus, Astronomical Algorithms, eq. 14.1).
double parallacticAngle(const Place& p) {
  return std::atan2(std::sin(p.h) * p.cosLat,
                    p.sinLat * std::cos(p.d) - p.cosLat * std::sin(p.d) * std::cos(p.h));
}

double coordinate(char letter, const Place& p) {
  switch (letter) {
    case 'H': return p.h;
    case 'D': return p.d;
    case 'A': return p.azimuth;
    case 'Z': return p.zenithDistance;
    case 'Q': return parallacticAngle(p);
    default: return 0.0;
  }
}

// The generic multiplier f of a name read through its template: a product
// of sin/cos(n x) factors (harmonic) or of x^n factors (polynomial, x in
// radians); a factor without digits has n = 1. Returns false when the name
// does not read as its template.
bool genericMultiplier(const char* name, const char* slots, const Place& p, char& quantity,
                       double& f) {
  const std::size_t length = std::strlen(slots);
  if (length < 3 || std::strlen(name) != length) return false;
  const bool harmonic = slots[0] == 'H';
  quantity = name[1];
  f = 1.0;
  char function = 0;
  char argument = 0;
  int multiple = 0;
  bool haveDigits = false;
  auto finishFactor = [&] {
    if (argument == 0) return;
    const double n = haveDigits ? multiple : 1;
    const double x = coordinate(argument, p);
    if (harmonic) {
      f *= function == 'S' ? std::sin(n * x) : std::cos(n * x);
    } else {
      f *= std::pow(x, n);
    }
    argument = 0;
    multiple = 0;
    haveDigits = false;
  };
  for (std::size_t i = 2; i < length; ++i) {
    switch (slots[i]) {
      case 'F':
        finishFactor();
        function = name[i];
        break;
      case 'C':
        if (!harmonic) finishFactor();
        argument = name[i];
        break;
      case 'I':
        multiple = 10 * multiple + (name[i] - '0');
        haveDigits = true;
        break;
      default:
        return false;
    }
  }
  finishFactor();
  return true;
}

// The correction a generic term's quantity letter stands for, scaled by f.
//   H  hour angle             X  along the parallel     D  declination
//   A  horizon longitude      S  across the vertical    Z  zenith distance
//   U  up, L  left: the vertical and horizontal axes of a Nasmyth focal
//      plane, seen on the sky turned through the elevation (as NRY, NRX)
//   P  a pull towards the north celestial pole (equatorial vector (0,0,1))
//   N  a pull towards the north point of the horizon (horizon (-1,0,0))
//   W  a pull towards the west point of the horizon (horizon (0,-1,0))
//   V  a pull towards the zenith (horizon (0,0,1))
Correction genericCorrection(char quantity, double f, const Place& p) {
  const double E = p.elevation;
  switch (quantity) {
    case 'H': return make(Kind::HourDec, f, 0.0);
    case 'X': return make(Kind::AlongDec, f, 0.0);
    case 'D': return make(Kind::HourDec, 0.0, f);
    case 'A': return make(Kind::AzEl, f, 0.0);
    case 'S': return make(Kind::SideEl, f, 0.0);
    case 'Z': return make(Kind::AzEl, 0.0, -f);
    case 'U': return make(Kind::SideEl, f * std::sin(E), f * std::cos(E));
    case 'L': return make(Kind::SideEl, f * std::cos(E), -f * std::sin(E));
    case 'P': return make(Kind::Vector, 0.0, 0.0, f);
    case 'N': return make(Kind::VectorHorizon, -f, 0.0, 0.0);
    case 'W': return make(Kind::VectorHorizon, 0.0, -f, 0.0);
    case 'V': return make(Kind::VectorHorizon, 0.0, 0.0, f);
    default: return Correction{};
  }
}

// Sign rules: over the pole the mount's declination sense is reversed, so
// the declination multiplier of an HourDec term and both multipliers of an
// AlongDec term change sign; correcting the stars instead of the telescope
// reverses every correction.
void applySigns(Correction& c, int pierFlag, int adjustSense) {
  if (pierFlag != 0) {
    if (c.kind == Kind::HourDec) c.m[1] = -c.m[1];
    if (c.kind == Kind::AlongDec) {
      c.m[0] = -c.m[0];
      c.m[1] = -c.m[1];
    }
  }
  if (adjustSense == 2) {
    for (double& m : c.m) m = -m;
  }
}

// Moves v by p sideways and q towards the pole of its frame: sense +1 for
// AlongDec (towards increasing hour angle, i.e. decreasing longitude),
// -1 for SideEl (towards increasing A).
void displace(double v[3], double p, double q, double sense) {
  const double x = v[0], y = v[1], z = v[2];
  const double r = std::sqrt(x * x + y * y);
  double sy = 0.0;  // y / r
  double sx = 1.0;  // x / r
  if (r > 1e-20) {
    sy = y / r;
    sx = x / r;
  }
  v[0] = x + sense * p * sy - q * z * sx;
  v[1] = y - sense * p * sx - q * z * sy;
  v[2] = z + q * r;
}

void applyCorrection(const Correction& c, double k, double sinLat, double cosLat, double v[3]) {
  double e[3];
  double longitude = 0.0;
  double latitude = 0.0;
  switch (c.kind) {
    case Kind::HourDec:
      horizonToEquatorial(v, sinLat, cosLat, e);
      vectorToSpherical(e, longitude, latitude);
      sphericalToVector(longitude - k * c.m[0], latitude + k * c.m[1], e);
      equatorialToHorizon(e, sinLat, cosLat, v);
      break;
    case Kind::AlongDec:
      horizonToEquatorial(v, sinLat, cosLat, e);
      displace(e, k * c.m[0], k * c.m[1], 1.0);
      equatorialToHorizon(e, sinLat, cosLat, v);
      break;
    case Kind::AzEl:
      vectorToSpherical(v, longitude, latitude);
      sphericalToVector(longitude + k * c.m[0], latitude + k * c.m[1], v);
      break;
    case Kind::SideEl:
      displace(v, k * c.m[0], k * c.m[1], -1.0);
      break;
    case Kind::Vector:
      horizonToEquatorial(v, sinLat, cosLat, e);
      for (int i = 0; i < 3; ++i) e[i] += k * c.m[i];
      equatorialToHorizon(e, sinLat, cosLat, v);
      break;
    case Kind::VectorHorizon:
      for (int i = 0; i < 3; ++i) v[i] += k * c.m[i];
      break;
  }
  normalise(v);
}

bool finite3(const double v[3]) {
  return std::isfinite(v[0]) && std::isfinite(v[1]) && std::isfinite(v[2]);
}

}  // namespace

int evaluateTerm(Engine& engine, int termNumber, double coefficient, const double aux[3],
                 int pierFlag, const double base[3], double current[3]) {
  const TermTable& table = engine.terms;
  if (termNumber < 1 || termNumber > table.termNameCount || termNumber > kMaxTermNames) return 0;
  const Place place = placeAt(engine, base, aux, pierFlag);

  Correction correction;
  if (termNumber <= table.localTermCount) {
    correction = localCorrection(termNumber, place);
  } else if (termNumber <= table.fixedTermCount) {
    correction = standardCorrection(termNumber - table.localTermCount, place);
  } else {
    char quantity = 0;
    double f = 0.0;
    if (!genericMultiplier(table.names[termNumber - 1], table.templates[termNumber - 1], place,
                           quantity, f)) {
      return -2;
    }
    correction = genericCorrection(quantity, f, place);
  }
  applySigns(correction, pierFlag, engine.settings.adjustSense);
  if (!finite3(correction.m) || !std::isfinite(coefficient)) return -1;

  double moved[3] = {current[0], current[1], current[2]};
  applyCorrection(correction, coefficient, place.sinLat, place.cosLat, moved);
  if (!finite3(moved)) return -1;
  std::memcpy(current, moved, sizeof moved);
  return 0;
}

void observationDirections(const Engine& engine, int slot, double source[3], double target[3]) {
  const ObservationList& list = engine.observations;
  if (engine.settings.adjustSense != 2) {
    haDecToDirection(engine, list.starHa[slot], list.starDec[slot], source);
    haDecToDirection(engine, list.telHaWork[slot], list.telDecWork[slot], target);
  } else {
    haDecToDirection(engine, list.telHa[slot], list.telDec[slot], source);
    haDecToDirection(engine, list.starHaWork[slot], list.starDecWork[slot], target);
  }
}

int applyModelTerms(Engine& engine, int slot, double direction[3]) {
  const Model& model = engine.model;
  const ObservationList& list = engine.observations;
  double base[3] = {direction[0], direction[1], direction[2]};
  for (int i = 0; i < kMaxModelTerms && model.termNumber[i] != 0; ++i) {
    if (model.chained[i] != 0) std::memcpy(base, direction, sizeof base);
    const int status = evaluateTerm(engine, model.termNumber[i], model.coefValue[i], list.aux[slot],
                                    list.pierFlag[slot], base, direction);
    if (status < 0) return status;
  }
  return 0;
}

int applyModel(Engine& engine, int slot, double corrected[3], double target[3]) {
  observationDirections(engine, slot, corrected, target);
  return applyModelTerms(engine, slot, corrected);
}

void haDecToDirection(const Engine& engine, double ha, double dec, double direction[3]) {
  double e[3];
  sphericalToVector(-ha, dec, e);
  equatorialToHorizon(e, engine.run.sinLat, engine.run.cosLat, direction);
}

void directionToHaDec(const Engine& engine, const double direction[3], double& ha, double& dec) {
  double e[3];
  horizonToEquatorial(direction, engine.run.sinLat, engine.run.cosLat, e);
  double longitude = 0.0;
  vectorToSpherical(e, longitude, dec);
  ha = -longitude;
}

}  // namespace zenfit
