// FIT's least-squares route against the straightforward path it replaces
// (svdDecompose of the whole design matrix, FIT's editing, svdSolve and
// svdCovariance), and its AVX2 loops against its baseline ones: random
// matrices from 3 x 1 to 14997 x 49, and ill-conditioned and rank-deficient
// ones, with the same editing decisions; and the status codes. (FIT as a
// whole against the straightforward path, on the examples and the goldens'
// data, is fit_route_test.cpp.)
#include "fit/least_squares.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "fit/reference_fit.h"
#include "fit/svd.h"

namespace zenfit::test {
namespace {

// A least-squares problem, rows x columns row by row, entries rounded to
// single precision as FIT rounds them.
using Problem = DesignMatrix;

double single(double x) { return static_cast<double>(static_cast<float>(x)); }

// The new route and the straightforward path agree: the same status, the
// same singular values before and after editing, the same editing and the
// same covariance, to the last bit; and the solution to 1e-9 of its largest
// element. Both take padded storage. Returns the route's editing.
SingularValueEditing expectSameAnswers(const Problem& p, double tolerance) {
  const int m = p.rows, n = p.columns, mp = m + 2, np = n + 1;
  const StraightforwardSolution want = solveStraightforwardly(m, n, p.a, p.b, tolerance, 2, 1);
  // The route with its wide instructions, and with its baseline ones.
  std::unique_ptr<LeastSquares> routes[2];
  std::vector<double> a[2];
  int status[2];
  for (int k = 0; k < 2; ++k) {
    routes[k] = std::make_unique<LeastSquares>();
    if (k == 1) routes[k]->useWideVectors(false);
    a[k].assign(std::max(m * np, 1), -7777.0);
    for (int i = 0; i < m; ++i) std::copy_n(&p.a[i * n], n, &a[k][i * np]);
    std::vector<double> b = p.b;
    status[k] = routes[k]->solve(m, n, mp, np, a[k].data(), b.data(), tolerance);
  }
  const LeastSquares* route = routes[0].get();
  EXPECT_EQ(status[0], want.status);
  // The baseline instructions give what the wide ones gave, to the bit.
  EXPECT_EQ(status[1], status[0]);
  EXPECT_EQ(std::memcmp(a[1].data(), a[0].data(), a[0].size() * sizeof(double)), 0);
  if (status[0] == 0) {
    EXPECT_EQ(std::memcmp(routes[1]->solution(), route->solution(), n * sizeof(double)), 0);
  }
  // Bit for bit (-0 differs from 0), but any NaN equals any NaN: which of
  // two NaN operands an instruction passes on is the compiler's choice.
  const auto same = [&](const double* got, const std::vector<double>& wanted) {
    for (std::size_t k = 0; k < wanted.size(); ++k) {
      if (std::isnan(got[k]) != std::isnan(wanted[k])) return false;
      if (std::isnan(got[k])) continue;
      if (std::memcmp(&got[k], &wanted[k], sizeof(double)) != 0) return false;
    }
    return true;
  };
  EXPECT_TRUE(same(route->singularValues(), want.w));
  if (status[0] != 0 || want.status != 0) return route->editing();
  EXPECT_TRUE(same(route->editedSingularValues(), want.edited));
  const SingularValueEditing& e = route->editing();
  EXPECT_EQ(e.zeroed, want.zeroed);
  EXPECT_EQ(e.smallestRatio, want.smallestRatio);
  EXPECT_EQ(e.largestRatio, want.largestRatio);
  EXPECT_TRUE(same(route->covariance(), want.covariance));
  double xmax = 0.0, worst = 0.0;
  for (int j = 0; j < n; ++j) {
    xmax = std::max(xmax, std::fabs(want.x[j]));
    worst = std::max(worst, std::fabs(route->solution()[j] - want.x[j]));
  }
  EXPECT_LE(worst, 1e-9 * xmax);
  return e;
}

Problem randomProblem(std::mt19937& rng, int m, int n) {
  std::normal_distribution<double> normal;
  Problem p{m, n, std::vector<double>(m * n), std::vector<double>(m), {}};
  for (double& x : p.a) x = single(normal(rng));
  for (double& x : p.b) x = single(normal(rng));
  return p;
}

// U diag(sigma) V^T in single precision, U and V the singular vectors of a
// random matrix.
Problem withSingularValues(std::mt19937& rng, int m, const std::vector<double>& sigma) {
  const int n = static_cast<int>(sigma.size());
  Problem p = randomProblem(rng, m, n);
  std::vector<double> u = p.a, w(n), v(n * n), work(n);
  int status = 99;
  svdDecompose(m, n, m, n, u.data(), w.data(), v.data(), work.data(), status);
  for (int i = 0; i < m; ++i) {
    for (int j = 0; j < n; ++j) {
      double s = 0.0;
      for (int k = 0; k < n; ++k) s += u[i * n + k] * sigma[k] * v[j * n + k];
      p.a[i * n + j] = single(s);
    }
  }
  return p;
}

TEST(LeastSquares, AgreesOnRandomMatricesOfEveryShape) {
  std::mt19937 rng(13);
  const int shapes[][2] = {{3, 1},   {3, 3},    {4, 2},    {12, 7},    {63, 49},  {64, 49},
                           {65, 17}, {129, 33}, {200, 49}, {1000, 10}, {14997, 7}, {14997, 49}};
  for (const auto& [m, n] : shapes) {
    SCOPED_TRACE(testing::Message() << m << " x " << n);
    expectSameAnswers(randomProblem(rng, m, n), 0.01);
  }
}

TEST(LeastSquares, ZeroesTheSameSingularValuesOfIllConditionedAndRankDeficientMatrices) {
  std::mt19937 rng(2024);
  // Ratios to the largest on both sides of FITTOL (0.01), within 1e-5 of it
  // (less the rounding of the entries to single precision).
  const std::vector<double> sigma = {3.0, 1.0, 0.0300001, 0.0299999, 0.2, 3e-6, 0.03, 0.7};
  for (const double tolerance : {0.01, 0.1}) {
    SCOPED_TRACE(tolerance);
    for (const int m : {8, 60, 3000}) {
      const Problem p = withSingularValues(rng, m, sigma);
      const SingularValueEditing e = expectSameAnswers(p, tolerance);
      EXPECT_TRUE(e.zeroed);
    }
  }

  // Two identical columns, a zero column, and both, in several places.
  for (const int m : {5, 90, 14997}) {
    for (const int place : {0, 2, 4}) {
      SCOPED_TRACE(testing::Message() << m << " rows, column " << place);
      Problem twin = randomProblem(rng, m, 5), zero = twin, both = twin;
      const int other = (place + 3) % 5, third = (place + 1) % 5;
      for (int i = 0; i < m; ++i) {
        twin.a[i * 5 + place] = twin.a[i * 5 + other];
        zero.a[i * 5 + place] = 0.0;
        both.a[i * 5 + place] = both.a[i * 5 + other];
        both.a[i * 5 + third] = 0.0;
      }
      for (const Problem* p : {&twin, &zero, &both}) {
        const SingularValueEditing e = expectSameAnswers(*p, 0.01);
        EXPECT_TRUE(e.zeroed && e.largestRatio < 1e-14);
      }
    }
  }
}

TEST(LeastSquares, GivesTheStatusOfTheDecompositionAndWritesNothingForABadShape) {
  std::mt19937 rng(5);
  const Problem p = randomProblem(rng, 10, 4), wide = randomProblem(rng, 60, 50);
  auto route = std::make_unique<LeastSquares>();
  // m < n, m > mp, n > np, and more columns than FIT ever fits.
  const int shapes[][4] = {{3, 4, 10, 4}, {10, 4, 9, 4}, {10, 4, 10, 3}, {60, 50, 60, 50}};
  for (const auto& [m, n, mp, np] : shapes) {
    Problem q = n == 50 ? wide : p;
    EXPECT_EQ(route->solve(m, n, mp, np, q.a.data(), q.b.data(), 0.01), -1);
    EXPECT_EQ(q.a, (n == 50 ? wide : p).a);
    EXPECT_EQ(q.b, (n == 50 ? wide : p).b);
  }

  // A NaN in the data: the QR iteration fails to converge, and both routes
  // name the same singular value and leave the same values.
  Problem bad = p;
  bad.a[17] = std::nan("");
  expectSameAnswers(bad, 0.01);
  EXPECT_GT(solveStraightforwardly(10, 4, bad.a, bad.b, 0.01).status, 0);
}

}  // namespace
}  // namespace zenfit::test
