// A full observation list for the fit benchmarks: 4999 stars and a model
// of the first standard terms, all floating.
#pragma once

#include <cmath>
#include <memory>
#include <random>

#include "astro/vectors.h"
#include "data/observations.h"
#include "model/evaluate.h"
#include "model/model.h"
#include "model/terms.h"

namespace zenfit::bench {

inline constexpr double kArcsecond = 4.84813681109536e-6;

struct FullRun {
  TermTable terms;
  Model model;
  std::unique_ptr<ObservationList> list = std::make_unique<ObservationList>();
  RunState run;

  EvaluationContext context() const {
    return evaluationContext(terms, run, AdjustSense::Telescope);
  }
};

// A full list of stars spread over the sky above 15 degrees at latitude 30
// degrees, a quarter of them over the pole, telescope readings from a
// model of the first `count` standard terms plus 1 arcsec of noise, and
// that model floating with its coefficients zeroed.
inline std::unique_ptr<FullRun> fullRun(int count) {
  auto r = std::make_unique<FullRun>();
  loadTermNames(r->terms);
  r->run.sinLat = std::sin(0.5236);
  r->run.cosLat = std::cos(0.5236);
  r->run.obsPresent = 1;
  for (int i = 0; i < count; ++i) {
    r->model[i] = ModelEntry{i + 1, (10.0 + i) * kArcsecond, -1.0, 1, 1};
  }
  const EvaluationContext context = r->context();
  std::mt19937_64 random(42);
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  std::normal_distribution<double> gauss(0.0, kArcsecond);
  ObservationList& list = *r->list;
  const double sinLow = std::sin(15.0 * kRadianPerDegree);
  for (int i = 0; i < kMaxObservations; ++i) {
    double v[3];
    sphericalToVector(kTwoPi * uniform(random),
                      std::asin(sinLow + (0.99 - sinLow) * uniform(random)), v);
    Observation& o = list[i];
    o.status = kStatusActive;
    o.pierFlag = uniform(random) < 0.25 ? 1 : 0;
    o.aux[0] = uniform(random);
    o.aux[1] = uniform(random);
    o.aux[2] = 0.0;
    directionToHaDec(context, v, o.starHa, o.starDec);
    applyModelTerms(context, r->model, o, v);
    directionToHaDec(context, v, o.telHa, o.telDec);
    o.telHa += gauss(random);
    o.telDec += gauss(random);
    o.starHaWork = o.starHa;
    o.starDecWork = o.starDec;
    o.telHaWork = o.telHa;
    o.telDecWork = o.telDec;
  }
  list[kMaxObservations].status = kStatusEndOfList;
  for (int i = 0; i < count; ++i) r->model[i].value = 0.0;
  return r;
}

}  // namespace zenfit::bench
