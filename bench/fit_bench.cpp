// Speed of the fit and the residual listing on a full observation list:
// 4999 observations, with 7, 10, 30 and 49 floating terms.
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <random>

#include "astro/vectors.h"
#include "command/reports.h"
#include "fit/fit.h"
#include "fit/residuals.h"
#include "model/evaluate.h"

namespace {

using namespace zenfit;

constexpr double kArcsecond = 4.84813681109536e-6;

// A full list of stars spread over the sky above 15 degrees at latitude 30
// degrees, telescope readings from a model of the first `terms` standard
// terms plus 1 arcsec of noise, and that model floating with its
// coefficients zeroed.
struct FullRun {
  TermTable terms;
  Model model;
  std::unique_ptr<ObservationList> list = std::make_unique<ObservationList>();
  RunState run;
};

std::unique_ptr<FullRun> fullRun(int count) {
  auto r = std::make_unique<FullRun>();
  loadTermNames(r->terms);
  r->run.sinLat = std::sin(0.5236);
  r->run.cosLat = std::cos(0.5236);
  r->run.obsPresent = 1;
  for (int i = 0; i < count; ++i) {
    r->model[i] = ModelEntry{i + 1, (10.0 + i) * kArcsecond, -1.0, 1, 1};
  }
  const EvaluationContext context = evaluationContext(r->terms, r->run, AdjustSense::Telescope);
  std::mt19937_64 random(42);
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  std::normal_distribution<double> gauss(0.0, kArcsecond);
  ObservationList& list = *r->list;
  const double sinLow = std::sin(15.0 * kRadianPerDegree);
  for (int i = 0; i < kMaxObservations; ++i) {
    double v[3];
    sphericalToVector(kTwoPi * uniform(random), std::asin(sinLow + (0.99 - sinLow) * uniform(random)),
                      v);
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

void BM_FitFullList(benchmark::State& state) {
  const auto r = fullRun(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(fit(r->model, r->terms, *r->list, r->run, FitOptions{}));
  }
  state.SetLabel("4999 observations");
}
BENCHMARK(BM_FitFullList)->Arg(7)->Arg(10)->Arg(30)->Arg(49)->Unit(benchmark::kMillisecond);

void BM_SlistFullList(benchmark::State& state) {
  const auto r = fullRun(10);
  fit(r->model, r->terms, *r->list, r->run, FitOptions{});
  for (auto _ : state) {
    const ResidualTable table = residualTable(*r->list, r->run);
    benchmark::DoNotOptimize(residualListing(table, r->run, true, 0.0));
  }
  state.SetLabel("4999 observations");
}
BENCHMARK(BM_SlistFullList)->Unit(benchmark::kMillisecond);

}  // namespace
