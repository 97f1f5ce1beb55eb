// FIT's least-squares route against the straightforward path it replaces
// (svdDecompose of the whole design matrix, FIT's editing, svdSolve and
// svdCovariance), and its AVX2 loops against its baseline ones: FIT's
// design matrix of a full 49-term run, random matrices from 3 x 1 to
// 14997 x 49, and ill-conditioned and rank-deficient ones, with the same
// editing decisions; and the status codes. (FIT as a whole against the
// straightforward path, on the examples and the goldens' data, is
// fit_route_test.cpp.)
#include "fit/least_squares.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "fit/design_matrix.h"
#include "fit/pointing_run.h"
#include "fit/svd.h"
#include "support/session.h"

namespace zenfit::test {
namespace {

// A least-squares problem, m x n row by row, entries rounded to single
// precision as FIT rounds them.
struct Problem {
  int m = 0, n = 0;
  std::vector<double> a, b;
};

double single(double x) { return static_cast<double>(static_cast<float>(x)); }

// What FIT does today: decompose the matrix itself (declared mp x np), edit,
// solve, form the covariance (row length n).
struct Straightforward {
  int status = 99;
  std::vector<double> w, edited, x, covariance;
  SingularValueEditing editing;

  Straightforward(const Problem& p, double tolerance, int padRows = 0, int padColumns = 0)
      : w(p.n), x(p.n), covariance(p.n * p.n) {
    const int mp = p.m + padRows, np = p.n + padColumns;
    std::vector<double> u(std::max(mp * np, 1)), v(np * np), work(p.n);
    for (int i = 0; i < p.m; ++i) std::copy_n(&p.a[i * p.n], p.n, &u[i * np]);
    svdDecompose(p.m, p.n, mp, np, u.data(), w.data(), v.data(), work.data(), status);
    edited = w;
    if (status != 0) return;
    editing = editSingularValues(edited.data(), p.n, tolerance);
    svdSolve(p.m, p.n, mp, np, p.b.data(), u.data(), edited.data(), v.data(), work.data(),
             x.data());
    svdCovariance(p.n, np, p.n, edited.data(), v.data(), work.data(), covariance.data());
  }
};

std::vector<double> padded(const Problem& p, int padColumns) {
  std::vector<double> a(std::max(p.m * (p.n + padColumns), 1), -7777.0);
  for (int i = 0; i < p.m; ++i) std::copy_n(&p.a[i * p.n], p.n, &a[i * (p.n + padColumns)]);
  return a;
}

double largest(const double* values, std::size_t count) {
  double big = 0.0;
  for (std::size_t k = 0; k < count; ++k) big = std::max(big, std::fabs(values[k]));
  return big;
}

// The new route and the straightforward path agree: the same status, the
// same singular values before and after editing, the same editing and the
// same covariance, to the last bit; and the solution to `bound` of its
// largest element. Both take padded storage. Returns the route's editing.
SingularValueEditing expectSameAnswers(const Problem& p, double tolerance, double bound = 1e-9,
                                       int padRows = 2, int padColumns = 1) {
  const Straightforward want(p, tolerance, padRows, padColumns);
  auto route = std::make_unique<LeastSquares>();
  std::vector<double> a = padded(p, padColumns), b = p.b;
  const int status =
      route->solve(p.m, p.n, p.m + padRows, p.n + padColumns, a.data(), b.data(), tolerance);
  EXPECT_EQ(status, want.status);
  // The baseline instructions give what the wide ones gave, to the bit.
  auto baseline = std::make_unique<LeastSquares>();
  baseline->useWideVectors(false);
  std::vector<double> a0 = padded(p, padColumns), b0 = p.b;
  EXPECT_EQ(baseline->solve(p.m, p.n, p.m + padRows, p.n + padColumns, a0.data(), b0.data(),
                            tolerance),
            status);
  EXPECT_EQ(std::memcmp(a0.data(), a.data(), a.size() * sizeof(double)), 0);
  if (status == 0) {
    EXPECT_EQ(std::memcmp(baseline->solution(), route->solution(), p.n * sizeof(double)), 0);
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
  if (status != 0 || want.status != 0) return route->editing();
  EXPECT_TRUE(same(route->editedSingularValues(), want.edited));
  const SingularValueEditing& e = route->editing();
  EXPECT_EQ(e.zeroed, want.editing.zeroed);
  EXPECT_EQ(e.smallestRatio, want.editing.smallestRatio);
  EXPECT_EQ(e.largestRatio, want.editing.largestRatio);
  EXPECT_TRUE(same(route->covariance(), want.covariance));
  const double xmax = largest(want.x.data(), p.n);
  double worst = 0.0;
  for (int j = 0; j < p.n; ++j) {
    worst = std::max(worst, std::fabs(route->solution()[j] - want.x[j]));
  }
  EXPECT_LE(worst, bound * xmax);
  return e;
}

Problem fromDesign(const DesignMatrix& d) { return {d.rows, d.columns, d.a, d.b}; }

Problem randomProblem(std::mt19937& rng, int m, int n) {
  std::normal_distribution<double> normal;
  Problem p{m, n, std::vector<double>(m * n), std::vector<double>(m)};
  for (double& x : p.a) x = single(normal(rng));
  for (double& x : p.b) x = single(normal(rng));
  return p;
}

// Q R of a random matrix, Q's first n columns: orthonormal, m x n.
std::vector<double> orthonormalColumns(std::mt19937& rng, int m, int n) {
  std::normal_distribution<double> normal;
  std::vector<double> q(m * n);
  for (double& x : q) x = normal(rng);
  for (int j = 0; j < n; ++j) {  // modified Gram-Schmidt, twice
    for (int pass = 0; pass < 2; ++pass) {
      for (int k = 0; k < j; ++k) {
        double s = 0.0;
        for (int i = 0; i < m; ++i) s += q[i * n + k] * q[i * n + j];
        for (int i = 0; i < m; ++i) q[i * n + j] -= s * q[i * n + k];
      }
    }
    double s = 0.0;
    for (int i = 0; i < m; ++i) s += q[i * n + j] * q[i * n + j];
    for (int i = 0; i < m; ++i) q[i * n + j] /= std::sqrt(s);
  }
  return q;
}

// U diag(sigma) V^T with random orthonormal U and V, in single precision.
Problem withSingularValues(std::mt19937& rng, int m, const std::vector<double>& sigma) {
  const int n = static_cast<int>(sigma.size());
  const std::vector<double> u = orthonormalColumns(rng, m, n), v = orthonormalColumns(rng, n, n);
  Problem p = randomProblem(rng, m, n);
  for (int i = 0; i < m; ++i) {
    for (int j = 0; j < n; ++j) {
      double s = 0.0;
      for (int k = 0; k < n; ++k) s += u[i * n + k] * sigma[k] * v[j * n + k];
      p.a[i * n + j] = single(s);
    }
  }
  return p;
}

TEST(LeastSquares, AgreesOnAFullRunOfFortyNineTermsAndOnRandomMatricesOfEveryShape) {
  ScratchDir dir;
  Session session(dir.path());
  Engine& engine = session.engine();
  session.runAll(
      "USE IH ID ZH NP CH HF ZE ME MA TF TX FO IE IA HCES HCEC DCES DCEC DNP X2HC HGES HGEC\n"
      "USE DGES DGEC TFP CA CD4A CD4B CD5A CD5B AN AW NPAE ACES ACEC ECES ECEC NRX NRY AUX1H\n"
      "USE AUX1X AUX1D AUX1A AUX1S AUX1E HDSH2 HDCH2 HHSH3 HHCH3");
  for (int i = 0; i < 49; ++i) engine.model[i].value = ((i % 9) - 4.0) * kArcsecond;
  fillRun(engine, {.stars = kMaxObservations, .flipFraction = 0.3, .noiseArcsec = 1.0,
                   .aux1First = -1.0, .aux1Step = 0.0004});
  setAllCoefficients(engine, 0.0);
  const Problem full =
      fromDesign(designMatrix(evaluationContext(engine), engine.model, engine.observations));
  ASSERT_EQ(full.m, 14997);
  ASSERT_EQ(full.n, 49);
  expectSameAnswers(full, 0.01);

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

  // Near-dependent columns: column 3 is column 1 plus noise, which makes
  // the weak singular value's ratio about half the noise: 0.006 to 0.016,
  // either side of FITTOL.
  for (const double noise : {0.012, 0.016, 0.026, 0.032}) {
    SCOPED_TRACE(noise);
    Problem p = randomProblem(rng, 300, 6);
    std::normal_distribution<double> normal;
    for (int i = 0; i < p.m; ++i) p.a[i * 6 + 3] = single(p.a[i * 6 + 1] + noise * normal(rng));
    EXPECT_EQ(expectSameAnswers(p, 0.01).zeroed, noise < 0.02);
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
  EXPECT_GT(Straightforward(bad, 0.01).status, 0);
}

}  // namespace
}  // namespace zenfit::test
