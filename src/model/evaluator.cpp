#include "model/evaluator.h"

#include <bit>
#include <cmath>
#include <cstring>
#include <utility>

#include "model/wide_vectors.h"

namespace zenfit {
namespace {

using K = CorrectionKind;
constexpr int B = kPlaceBlock;

// Below this size (radians) an angle's sine and cosine come from their
// Taylor series, whose first omitted terms (x^13/13!, x^14/14!) are then
// below 1e-21 of the result; larger shifts (a coefficient of degrees) go
// to std::sin and std::cos.
constexpr double kSmallAngle = 0.125;
// sin x = x + x^3 (a1 + x^2 (a2 + ...)), cos x = 1 + x^2 (b1 + x^2 (b2 + ...)).
constexpr double kSinSeries[] = {-1.0 / 6, 1.0 / 120, -1.0 / 5040, 1.0 / 362880,
                                 -1.0 / 39916800};
constexpr double kCosSeries[] = {-1.0 / 2,    1.0 / 24,      -1.0 / 720,      1.0 / 40320,
                                 -1.0 / 3628800, 1.0 / 479001600};

// x - x is 0 for every finite x and NaN for an infinity or a NaN. A lane's
// health is the sum of these over everything that must be finite: 0 while
// all is well, NaN for good once anything was not. (Unlike std::isfinite
// and a bool per lane, this keeps every loop vectorisable.)
ZENFIT_ALWAYS_INLINE double nonFinite(double x) { return x - x; }

// Sines and cosines of a block of angles.
ZENFIT_ALWAYS_INLINE void sinCos(const double* __restrict a, double* __restrict s,
                                 double* __restrict c) {
  // Any large angle, as the bits of 1.0 or 0.0 (an integer as wide as a
  // double, which keeps the loop vectorisable).
  unsigned long long large = 0;
  for (int i = 0; i < B; ++i) {
    const double x = a[i];
    const double x2 = x * x;
    double p = kSinSeries[4];
    for (int k = 3; k >= 0; --k) p = kSinSeries[k] + x2 * p;
    double q = kCosSeries[5];
    for (int k = 4; k >= 0; --k) q = kCosSeries[k] + x2 * q;
    s[i] = x + x * x2 * p;
    c[i] = 1.0 + x2 * q;
    large |= std::bit_cast<unsigned long long>(std::fabs(x) > kSmallAngle ? 1.0 : 0.0);
  }
  if (large == 0) return;
  for (int i = 0; i < B; ++i) {
    if (std::fabs(a[i]) > kSmallAngle) {
      s[i] = std::sin(a[i]);
      c[i] = std::cos(a[i]);
    }
  }
}

// The shifts of a correction, k times each multiplier.
struct Shifts {
  double a[B], b[B];
};

// Divides (x, y, z) by its length when that exceeds 1e-20, as normalise()
// does, and adds the lane's result and multipliers to its health.
ZENFIT_ALWAYS_INLINE void finish(double& x, double& y, double& z, const MultiplierBlock& m, int i,
                                 double& health) {
  const double length = std::sqrt(x * x + y * y + z * z);
  const double divisor = length > 1e-20 ? length : 1.0;  // x / 1 is x
  x /= divisor;
  y /= divisor;
  z /= divisor;
  health += nonFinite(x) + nonFinite(y) + nonFinite(z) + nonFinite(m.m[0][i]) +
            nonFinite(m.m[1][i]) + nonFinite(m.m[2][i]);
}

// c added to the longitude and d to the latitude of the vector whose
// longitude has cosine and sine (cl, sl) and whose latitude has (cb, sb),
// by the angle-addition formulas; the result in (x, y, z).
ZENFIT_ALWAYS_INLINE void turn(double cl, double sl, double cb, double sb, double ca, double sa,
                               double cd, double sd, double& x, double& y, double& z) {
  const double cosLat = cb * cd - sb * sd;
  const double sinLat = sb * cd + cb * sd;
  const double cosLon = cl * ca - sl * sa;
  const double sinLon = sl * ca + cl * sa;
  x = cosLat * cosLon;
  y = cosLat * sinLon;
  z = sinLat;
}

// One correction of the given kind with coefficient k, multipliers m, to
// the vectors taken apart in p; the results to out.
ZENFIT_ALWAYS_INLINE void correct(K kind, const PlaceBlock& p, const MultiplierBlock& m, double k,
                                  double sinLat, double cosLat, DirectionBlock& out,
                                  double* __restrict health) {
  double* __restrict ox = out.x;
  double* __restrict oy = out.y;
  double* __restrict oz = out.z;
  switch (kind) {
    case K::HourDec:
    case K::AzEl: {
      // The hour angle (minus the equatorial longitude) and the
      // declination, or the horizon longitude and the elevation.
      Shifts shift;
      const double sense = kind == K::HourDec ? -1.0 : 1.0;
      for (int i = 0; i < B; ++i) {
        shift.a[i] = sense * (k * m.m[0][i]);
        shift.b[i] = k * m.m[1][i];
      }
      double sa[B], ca[B], sd[B], cd[B];
      sinCos(shift.a, sa, ca);
      sinCos(shift.b, sd, cd);
      if (kind == K::HourDec) {
        for (int i = 0; i < B; ++i) {
          double ex, ey, ez;
          turn(p.cosL[i], p.sinL[i], p.re[i], p.ez[i], ca[i], sa[i], cd[i], sd[i], ex, ey, ez);
          double x = ex * sinLat - ez * cosLat;
          double y = ey;
          double z = ez * sinLat + ex * cosLat;
          finish(x, y, z, m, i, health[i]);
          ox[i] = x;
          oy[i] = y;
          oz[i] = z;
        }
      } else {
        for (int i = 0; i < B; ++i) {
          double x, y, z;
          turn(p.cosA[i], p.sinA[i], p.rh[i], p.z[i], ca[i], sa[i], cd[i], sd[i], x, y, z);
          finish(x, y, z, m, i, health[i]);
          ox[i] = x;
          oy[i] = y;
          oz[i] = z;
        }
      }
      break;
    }
    case K::AlongDec:
      // p along the parallel (towards increasing hour angle), q towards
      // the pole: displace() of evaluate.cpp, term for term.
      for (int i = 0; i < B; ++i) {
        const double r = p.re[i];
        const double sy = p.sinL[i];
        const double sx = p.cosL[i];
        const double shift = k * m.m[0][i];
        const double lift = k * m.m[1][i];
        const double ex = p.ex[i], ey = p.ey[i], ez = p.ez[i];
        const double e0 = ex + shift * sy - lift * ez * sx;
        const double e1 = ey - shift * sx - lift * ez * sy;
        const double e2 = ez + lift * r;
        double x = e0 * sinLat - e2 * cosLat;
        double y = e1;
        double z = e2 * sinLat + e0 * cosLat;
        finish(x, y, z, m, i, health[i]);
        ox[i] = x;
        oy[i] = y;
        oz[i] = z;
      }
      break;
    case K::SideEl:
      // The same in the horizon frame, the sideways shift towards
      // increasing A.
      for (int i = 0; i < B; ++i) {
        const double r = p.rh[i];
        const double sy = p.sinA[i];
        const double sx = p.cosA[i];
        const double shift = k * m.m[0][i];
        const double lift = k * m.m[1][i];
        const double hx = p.x[i], hy = p.y[i], hz = p.z[i];
        double x = hx - shift * sy - lift * hz * sx;
        double y = hy + shift * sx - lift * hz * sy;
        double z = hz + lift * r;
        finish(x, y, z, m, i, health[i]);
        ox[i] = x;
        oy[i] = y;
        oz[i] = z;
      }
      break;
    case K::Vector:
      for (int i = 0; i < B; ++i) {
        const double e0 = p.ex[i] + k * m.m[0][i];
        const double e1 = p.ey[i] + k * m.m[1][i];
        const double e2 = p.ez[i] + k * m.m[2][i];
        double x = e0 * sinLat - e2 * cosLat;
        double y = e1;
        double z = e2 * sinLat + e0 * cosLat;
        finish(x, y, z, m, i, health[i]);
        ox[i] = x;
        oy[i] = y;
        oz[i] = z;
      }
      break;
    case K::VectorHorizon:
      for (int i = 0; i < B; ++i) {
        double x = p.x[i] + k * m.m[0][i];
        double y = p.y[i] + k * m.m[1][i];
        double z = p.z[i] + k * m.m[2][i];
        finish(x, y, z, m, i, health[i]);
        ox[i] = x;
        oy[i] = y;
        oz[i] = z;
      }
      break;
  }
}

// The sign rules of evaluateTerm: over the pole the declination
// multiplier of an HourDec term and both of an AlongDec term change sign;
// correcting the stars reverses every multiplier.
ZENFIT_ALWAYS_INLINE void applySigns(K kind, const LaneData& lanes, AdjustSense sense,
                                     MultiplierBlock& m) {
  if (kind == K::HourDec) {
    for (int i = 0; i < B; ++i) m.m[1][i] *= lanes.flip[i];
  } else if (kind == K::AlongDec) {
    for (int i = 0; i < B; ++i) {
      m.m[0][i] *= lanes.flip[i];
      m.m[1][i] *= lanes.flip[i];
    }
  }
  if (sense == AdjustSense::Stars) {
    for (auto& row : m.m) {
      for (int i = 0; i < B; ++i) row[i] = -row[i];
    }
  }
}

}  // namespace

ModelEvaluator::ModelEvaluator(const EvaluationContext& context, const Model& model)
    : context_(context) {
  const TermTable& table = *context.terms;
  while (count_ < kMaxModelTerms && model[count_].term != 0) {
    const ModelEntry& slot = model[count_];
    Entry& e = entries_[count_++];
    e.value = slot.value;
    e.chained = slot.chained != 0;
    const int number = slot.term;
    if (number < 1 || number > table.termNameCount || number > kMaxTermNames) {
      e.source = Source::Nothing;
    } else if (number <= table.localTermCount) {
      // Site terms: none are installed; evaluateTerm applies them as an
      // hour-angle correction with zero multipliers.
      e.source = Source::Standard;
      e.kind = K::HourDec;
      e.block = [](const PlaceBlock&, MultiplierBlock& out) { std::memset(&out, 0, sizeof out); };
    } else if (number <= table.fixedTermCount) {
      const TermDefinition& term = kStandardTerms[number - table.localTermCount - 1];
      e.source = Source::Standard;
      e.kind = term.kind;
      e.block = term.block;
    } else if (parseGeneric(table.names[number - 1], table.templates[number - 1], e.generic)) {
      e.source = Source::Generic;
      e.kind = e.generic.kind;
    } else {
      e.source = Source::Unreadable;
    }
  }
}

namespace {

// The chain over a block: ModelEvaluator::apply and differentiate.
template <bool kDerive>
ZENFIT_ALWAYS_INLINE void runEntries(const ModelEvaluator::Entry* entries, int count,
                                     const EvaluationContext& context, const LaneData& lanes,
                                     DirectionBlock& v, bool* failed, int first, int last,
                                     const DerivativeRows* out) {
  using Source = ModelEvaluator::Source;
  const double sinLat = context.sinLat;
  const double cosLat = context.cosLat;
  PlaceBlock base;     // taken apart at the base point
  PlaceBlock running;  // taken apart at the running vector, when it is not the base
  MultiplierBlock m;
  double health[B] = {};
  // The running vectors, the next ones and the stepped ones rotate through
  // v and two buffers.
  DirectionBlock buffers[2];
  DirectionBlock* now = &v;
  DirectionBlock* next = &buffers[0];
  DirectionBlock* stepped = &buffers[1];
  bool baseReady = false;     // base holds the base point taken apart
  bool baseIsRunning = true;  // the running vector has not moved since the base was set

  for (int slot = first; slot <= last && slot < count; ++slot) {
    const ModelEvaluator::Entry& e = entries[slot];
    if (e.chained && !baseIsRunning) {
      baseReady = false;
      baseIsRunning = true;
    }
    const int column = kDerive ? out->column[slot] : -1;
    if (e.source == Source::Nothing || e.source == Source::Unreadable) {
      // Nothing is done, and a floating entry's derivative is zero; an
      // unreadable generic name fails everywhere.
      for (int i = 0; column >= 0 && i < lanes.count; ++i) {
        for (int c = 0; c < 3; ++c) {
          out->rows[(3 * i + c) * out->stride + column * out->columnStride] = 0.0;
        }
      }
      if (e.source == Source::Unreadable) {
        for (int i = 0; i < B; ++i) health[i] = std::nan("");
      }
      continue;
    }
    if (!baseReady) {
      decompose(now->x, now->y, now->z, sinLat, cosLat, lanes, base);
      baseReady = true;
    }
    if (e.source == Source::Generic) {
      genericBlock(e.generic, base, m);
    } else {
      e.block(base, m);
    }
    applySigns(e.kind, lanes, context.sense, m);

    const PlaceBlock* at = &base;
    if (!baseIsRunning) {
      decompose(now->x, now->y, now->z, sinLat, cosLat, lanes, running);
      at = &running;
    }
    const double k = e.value;
    correct(e.kind, *at, m, k, sinLat, cosLat, *next, health);
    double poison = nonFinite(k);
    if (column >= 0) {
      const double kStepped = k + kDerivativeStep;
      correct(e.kind, *at, m, kStepped, sinLat, cosLat, *stepped, health);
      poison += nonFinite(kStepped);
      const double* sx = stepped->x;
      const double* sy = stepped->y;
      const double* sz = stepped->z;
      const std::ptrdiff_t stride = out->stride;
      for (int i = 0; i < lanes.count; ++i) {
        double* row = out->rows + 3 * i * stride + column * out->columnStride;
        row[0] = roundToSingle((sx[i] - next->x[i]) * kDerivativeScale);
        row[stride] = roundToSingle((sy[i] - next->y[i]) * kDerivativeScale);
        row[2 * stride] = roundToSingle((sz[i] - next->z[i]) * kDerivativeScale);
      }
    }
    if (poison != 0.0) {
      for (int i = 0; i < B; ++i) health[i] += poison;
    }
    std::swap(now, next);
    baseIsRunning = false;
  }
  if (now != &v) std::memcpy(&v, now, sizeof v);
  for (int i = 0; i < B; ++i) failed[i] = failed[i] || health[i] != 0.0;
}

template <bool kDerive>
void runBaseline(const ModelEvaluator::Entry* entries, int count, const EvaluationContext& context,
                 const LaneData& lanes, DirectionBlock& v, bool* failed, int first, int last,
                 const DerivativeRows* out) {
  runEntries<kDerive>(entries, count, context, lanes, v, failed, first, last, out);
}

#if ZENFIT_WIDE_VECTORS
template <bool kDerive>
ZENFIT_WIDE_TARGET void runWide(const ModelEvaluator::Entry* entries, int count,
                                const EvaluationContext& context, const LaneData& lanes,
                                DirectionBlock& v, bool* failed, int first, int last,
                                const DerivativeRows* out) {
  runEntries<kDerive>(entries, count, context, lanes, v, failed, first, last, out);
}
#endif

}  // namespace

template <bool kDerive>
void ModelEvaluator::run(const LaneData& lanes, DirectionBlock& v, bool* failed, int first,
                         int last, const DerivativeRows* out) const {
#if ZENFIT_WIDE_VECTORS
  if (wide_ && wideVectorsAvailable()) {
    runWide<kDerive>(entries_, count_, context_, lanes, v, failed, first, last, out);
    return;
  }
#endif
  runBaseline<kDerive>(entries_, count_, context_, lanes, v, failed, first, last, out);
}

void ModelEvaluator::apply(const LaneData& lanes, DirectionBlock& v, bool* failed, int first,
                           int last) const {
  run<false>(lanes, v, failed, first, last, nullptr);
}

void ModelEvaluator::differentiate(const LaneData& lanes, DirectionBlock& v, bool* failed,
                                   const DerivativeRows& out) const {
  run<true>(lanes, v, failed, 0, count_ - 1, &out);
}

}  // namespace zenfit
