// FIT's linear algebra on its own, on FIT's design matrix of 4999 stars
// (14997 rows) with 49 and 7 columns: the least-squares route FIT is to
// take (LeastSquares), the straightforward path (svdDecompose of the whole
// matrix, editing, svdSolve, svdCovariance) and LAPACK's dgelsd. Each
// reports median_ms, the median of its iterations, and vs_lapack, that
// median over the median of dgelsd timed in the same iterations. The copy
// of the matrix (and of b) that each overwrites is made outside the timed
// part.
#include <benchmark/benchmark.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "fit/least_squares.h"
#include "fit/svd.h"
#include "lapack_baseline.h"

namespace zenfit::bench {
namespace {

constexpr double kFitTolerance = 0.01;  // FIT's default

template <typename Prepare, typename Work>
void run(benchmark::State& state, Prepare&& prepare, Work&& work) {
  const int n = static_cast<int>(state.range(0));
  LapackBaseline lapack(n);
  std::vector<double> times;
  for (auto _ : state) {
    prepare();
    const auto start = std::chrono::steady_clock::now();
    work();
    const auto stop = std::chrono::steady_clock::now();
    const double t = std::chrono::duration<double>(stop - start).count();
    state.SetIterationTime(t);
    times.push_back(t);
    lapack.time();
  }
  state.counters["median_ms"] = median(times) * 1e3;
  state.counters["vs_lapack"] = median(times) / lapack.median();
  state.SetLabel(std::to_string(fitProblem(n).rows) + " x " + std::to_string(n));
}

void BM_LeastSquaresLapack(benchmark::State& state) {
  LapackBaseline solver(static_cast<int>(state.range(0)));
  run(state, [] {}, [&] { solver.time(); });
  state.SetLabel(lapackLibraries());
}

void BM_LeastSquaresRoute(benchmark::State& state) {
  const test::DesignMatrix& d = fitProblem(static_cast<int>(state.range(0)));
  auto route = std::make_unique<LeastSquares>();
  std::vector<double> a, b;
  run(state, [&] { a = d.a, b = d.b; }, [&] {
    benchmark::DoNotOptimize(route->solve(d.rows, d.columns, d.rows, d.columns, a.data(),
                                          b.data(), kFitTolerance));
  });
}

void BM_LeastSquaresStraightforward(benchmark::State& state) {
  const test::DesignMatrix& d = fitProblem(static_cast<int>(state.range(0)));
  const int m = d.rows, n = d.columns;
  std::vector<double> u, w(n), v(n * n), work(n), x(n), covariance(n * n);
  run(state, [&] { u = d.a; }, [&] {
    int status = 0;
    svdDecompose(m, n, m, n, u.data(), w.data(), v.data(), work.data(), status);
    editSingularValues(w.data(), n, kFitTolerance);
    svdSolve(m, n, m, n, d.b.data(), u.data(), w.data(), v.data(), work.data(), x.data());
    svdCovariance(n, n, n, w.data(), v.data(), work.data(), covariance.data());
    benchmark::DoNotOptimize(covariance.data());
  });
}

BENCHMARK(BM_LeastSquaresLapack)->Arg(49)->Arg(7)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LeastSquaresRoute)->Arg(49)->Arg(7)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LeastSquaresStraightforward)
    ->Arg(49)
    ->Arg(7)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace zenfit::bench
