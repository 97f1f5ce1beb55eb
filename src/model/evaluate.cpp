#include "model/evaluate.h"

#include <cmath>
#include <cstring>

#include "astro/astro.h"
#include "astro/vectors.h"
#include "model/generic.h"

namespace zenfit {
namespace {

using K = CorrectionKind;

ExactPlace placeAt(const EvaluationContext& context, const double base[3], const double aux[3],
                   int pierFlag) {
  ExactPlace p;
  std::memcpy(p.horizonVector, base, sizeof p.horizonVector);
  p.latSin = context.sinLat;
  p.latCos = context.cosLat;
  vectorToSpherical(base, p.azimuthAngle, p.elevation);
  p.zenith = kHalfPi - p.elevation;
  horizonToEquatorial(base, p.latSin, p.latCos, p.equatorialVector);
  double longitude = 0.0;
  vectorToSpherical(p.equatorialVector, longitude, p.d);
  p.h = -longitude;
  if (pierFlag != 0) {
    // Over the pole the mount reads the same sky with h + 12h and the
    // declination mirrored about the pole.
    const double side = p.latSin < 0.0 ? -1.0 : 1.0;
    p.h += kPi;
    p.d = side * kPi - p.d;
  }
  p.auxiliary1 = aux[0];
  p.auxiliary2 = aux[1];
  return p;
}

// Sign rules: over the pole the mount's declination sense is reversed, so
// the declination multiplier of an HourDec term and both multipliers of an
// AlongDec term change sign; correcting the stars instead of the telescope
// reverses every correction.
void applySigns(K kind, Multipliers& c, int pierFlag, AdjustSense sense) {
  if (pierFlag != 0) {
    if (kind == K::HourDec) c.m[1] = -c.m[1];
    if (kind == K::AlongDec) {
      c.m[0] = -c.m[0];
      c.m[1] = -c.m[1];
    }
  }
  if (sense == AdjustSense::Stars) {
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

void applyCorrection(K kind, const Multipliers& c, double k, double sinLat, double cosLat,
                     double v[3]) {
  double e[3];
  double longitude = 0.0;
  double latitude = 0.0;
  switch (kind) {
    case K::HourDec:
      horizonToEquatorial(v, sinLat, cosLat, e);
      vectorToSpherical(e, longitude, latitude);
      sphericalToVector(longitude - k * c.m[0], latitude + k * c.m[1], e);
      equatorialToHorizon(e, sinLat, cosLat, v);
      break;
    case K::AlongDec:
      horizonToEquatorial(v, sinLat, cosLat, e);
      displace(e, k * c.m[0], k * c.m[1], 1.0);
      equatorialToHorizon(e, sinLat, cosLat, v);
      break;
    case K::AzEl:
      vectorToSpherical(v, longitude, latitude);
      sphericalToVector(longitude + k * c.m[0], latitude + k * c.m[1], v);
      break;
    case K::SideEl:
      displace(v, k * c.m[0], k * c.m[1], -1.0);
      break;
    case K::Vector:
      horizonToEquatorial(v, sinLat, cosLat, e);
      for (int i = 0; i < 3; ++i) e[i] += k * c.m[i];
      equatorialToHorizon(e, sinLat, cosLat, v);
      break;
    case K::VectorHorizon:
      for (int i = 0; i < 3; ++i) v[i] += k * c.m[i];
      break;
  }
  normalise(v);
}

bool finite3(const double v[3]) {
  return std::isfinite(v[0]) && std::isfinite(v[1]) && std::isfinite(v[2]);
}

}  // namespace

EvaluationContext evaluationContext(const TermTable& terms, const RunState& run,
                                    AdjustSense sense) {
  EvaluationContext context;
  context.terms = &terms;
  context.sinLat = run.sinLat;
  context.cosLat = run.cosLat;
  context.sense = sense;
  return context;
}

int evaluateTerm(const EvaluationContext& context, int termNumber, double coefficient,
                 const double aux[3], int pierFlag, const double base[3], double current[3]) {
  const TermTable& table = *context.terms;
  if (termNumber < 1 || termNumber > table.termNameCount || termNumber > kMaxTermNames) return 0;
  const ExactPlace place = placeAt(context, base, aux, pierFlag);

  K kind = K::HourDec;
  Multipliers multipliers;
  if (termNumber <= table.localTermCount) {
    // Site terms: none are installed in this build, so every one is a no-op.
  } else if (termNumber <= table.fixedTermCount) {
    const TermDefinition& term = kStandardTerms[termNumber - table.localTermCount - 1];
    kind = term.kind;
    multipliers = term.exact(place);
  } else if (!genericCorrection(table.names[termNumber - 1], table.templates[termNumber - 1],
                                place, kind, multipliers)) {
    return -2;
  }
  applySigns(kind, multipliers, pierFlag, context.sense);
  if (!finite3(multipliers.m) || !std::isfinite(coefficient)) return -1;

  double moved[3] = {current[0], current[1], current[2]};
  applyCorrection(kind, multipliers, coefficient, place.latSin, place.latCos, moved);
  if (!finite3(moved)) return -1;
  std::memcpy(current, moved, sizeof moved);
  return 0;
}

void observationDirections(const EvaluationContext& context, const Observation& o,
                           double source[3], double target[3]) {
  if (context.sense != AdjustSense::Stars) {
    haDecToDirection(context, o.starHa, o.starDec, source);
    haDecToDirection(context, o.telHaWork, o.telDecWork, target);
  } else {
    haDecToDirection(context, o.telHa, o.telDec, source);
    haDecToDirection(context, o.starHaWork, o.starDecWork, target);
  }
}

int applyModelTerms(const EvaluationContext& context, const Model& model, const Observation& o,
                    double direction[3]) {
  double base[3] = {direction[0], direction[1], direction[2]};
  for (int i = 0; i < kMaxModelTerms && model[i].term != 0; ++i) {
    if (model[i].chained != 0) std::memcpy(base, direction, sizeof base);
    const int status =
        evaluateTerm(context, model[i].term, model[i].value, o.aux, o.pierFlag, base, direction);
    if (status < 0) return status;
  }
  return 0;
}

void haDecToDirection(const EvaluationContext& context, double ha, double dec,
                      double direction[3]) {
  astro::haDecToHorizon(ha, dec, context.sinLat, context.cosLat, direction);
}

void directionToHaDec(const EvaluationContext& context, const double direction[3], double& ha,
                      double& dec) {
  astro::horizonToHaDec(direction, context.sinLat, context.cosLat, ha, dec);
}

}  // namespace zenfit
