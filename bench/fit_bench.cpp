// Speed of the fit and the residual listing on a full observation list:
// 4999 observations, with 7, 10, 30 and 49 floating terms. FIT reports
// median_ms, the median of its iterations, and vs_lapack, that median over
// the median of LAPACK's dgelsd on FIT's design matrix of the same size,
// timed in the same iterations (outside FIT's time), so that both see the
// same load on the machine.
#include <benchmark/benchmark.h>

#include <chrono>
#include <vector>

#include "command/reports.h"
#include "fit/fit.h"
#include "fit/residuals.h"
#include "full_run.h"
#include "lapack_baseline.h"

namespace {

using namespace zenfit;
using zenfit::bench::fullRun;

void BM_FitFullList(benchmark::State& state) {
  const int terms = static_cast<int>(state.range(0));
  const auto r = fullRun(terms);
  zenfit::bench::LapackBaseline lapack(terms);
  std::vector<double> times;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    benchmark::DoNotOptimize(fit(r->model, r->terms, *r->list, r->run, FitOptions{}));
    const auto stop = std::chrono::steady_clock::now();
    times.push_back(std::chrono::duration<double>(stop - start).count());
    state.PauseTiming();
    lapack.time();
    state.ResumeTiming();
  }
  state.counters["median_ms"] = zenfit::bench::median(times) * 1e3;
  state.counters["vs_lapack"] = zenfit::bench::median(times) / lapack.median();
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
