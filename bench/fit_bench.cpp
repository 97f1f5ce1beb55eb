// Speed of the fit and the residual listing on a full observation list:
// 4999 observations, with 10, 30 and 49 floating terms.
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <random>

#include "astro/vectors.h"
#include "engine.h"
#include "fit/fit.h"
#include "fit/slist.h"
#include "model/evaluate.h"

namespace {

using namespace zenfit;

constexpr double kArcsecond = 4.84813681109536e-6;

// An engine with its term names, a full list of stars spread over the sky
// above 15 degrees at latitude 30 degrees, telescope readings from a
// model of the first `terms` standard terms plus 1 arcsec of noise, and
// that model floating with its coefficients zeroed.
std::unique_ptr<Engine> fullRun(int terms) {
  auto engine = std::make_unique<Engine>();
  loadTermNames(*engine);
  clearModel(engine->model);
  RunState& run = engine->run;
  run.sinLat = std::sin(0.5236);
  run.cosLat = std::cos(0.5236);
  run.obsPresent = 1;
  Model& model = engine->model;
  for (int i = 0; i < terms; ++i) {
    model.termNumber[i] = i + 1;
    model.coefValue[i] = (10.0 + i) * kArcsecond;
    model.coefSigma[i] = -1.0;
    model.floating[i] = 1;
    model.chained[i] = 1;
  }
  std::mt19937_64 random(42);
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  std::normal_distribution<double> gauss(0.0, kArcsecond);
  ObservationList& list = engine->observations;
  const double sinLow = std::sin(15.0 * kRadianPerDegree);
  for (int i = 0; i < kMaxObservations; ++i) {
    double v[3];
    sphericalToVector(kTwoPi * uniform(random), std::asin(sinLow + (0.99 - sinLow) * uniform(random)),
                      v);
    list.status[i] = kStatusActive;
    list.pierFlag[i] = uniform(random) < 0.25 ? 1 : 0;
    list.aux[i][0] = uniform(random);
    list.aux[i][1] = uniform(random);
    list.aux[i][2] = 0.0;
    directionToHaDec(*engine, v, list.starHa[i], list.starDec[i]);
    applyModelTerms(*engine, i, v);
    directionToHaDec(*engine, v, list.telHa[i], list.telDec[i]);
    list.telHa[i] += gauss(random);
    list.telDec[i] += gauss(random);
    list.starHaWork[i] = list.starHa[i];
    list.starDecWork[i] = list.starDec[i];
    list.telHaWork[i] = list.telHa[i];
    list.telDecWork[i] = list.telDec[i];
  }
  list.status[kMaxObservations] = kStatusEndOfList;
  for (int i = 0; i < terms; ++i) model.coefValue[i] = 0.0;
  return engine;
}

void BM_FitFullList(benchmark::State& state) {
  const auto engine = fullRun(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(fitModel(*engine, true));
  }
  state.SetLabel("4999 observations");
}
BENCHMARK(BM_FitFullList)->Arg(10)->Arg(30)->Arg(49)->Unit(benchmark::kMillisecond);

void BM_SlistFullList(benchmark::State& state) {
  const auto engine = fullRun(10);
  fitModel(*engine, true);
  for (auto _ : state) {
    benchmark::DoNotOptimize(listResiduals(*engine, 0.0));
  }
  state.SetLabel("4999 observations");
}
BENCHMARK(BM_SlistFullList)->Unit(benchmark::kMillisecond);

}  // namespace
