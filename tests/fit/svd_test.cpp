// The singular value decomposition: reconstruction of random and
// rank-deficient matrices, the shape check, and solutions and covariances
// against the normal equations, with zeroed singular values left out.
#include "fit/svd.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "fit/least_squares.h"

namespace zenfit::test {
namespace {

constexpr double kSentinel = -7777.0;

// A decomposition of the m x n matrix a (row by row) stored with padded
// rows and columns, so that the declared sizes exceed the logical ones.
struct Decomposition {
  int m, n, np;
  std::vector<double> a, u, w, v, work;
  int status = 99;

  Decomposition(const std::vector<double>& matrix, int rows, int cols, int padRows = 0,
                int padCols = 0)
      : m(rows), n(cols), np(cols + padCols), a(matrix), u((rows + padRows) * np, kSentinel),
        w(n, kSentinel), v(np * np, kSentinel), work(n) {
    for (int i = 0; i < m; ++i)
      for (int j = 0; j < n; ++j) u[i * np + j] = a[i * n + j];
    svdDecompose(m, n, rows + padRows, np, u.data(), w.data(), v.data(), work.data(), status);
  }

  // Largest |U diag(w) V^T - A| relative to the largest |A|.
  double reconstructionError() const {
    double error = 0.0, scale = 1e-300;
    for (int i = 0; i < m; ++i) {
      for (int j = 0; j < n; ++j) {
        double s = 0.0;
        for (int k = 0; k < n; ++k) s += u[i * np + k] * w[k] * v[j * np + k];
        error = std::max(error, std::fabs(s - a[i * n + j]));
        scale = std::max(scale, std::fabs(a[i * n + j]));
      }
    }
    return error / scale;
  }

  bool paddingUntouched() const {
    for (std::size_t k = 0; k < u.size(); ++k) {
      if ((k / np >= std::size_t(m) || k % np >= std::size_t(n)) && u[k] != kSentinel) return false;
    }
    for (std::size_t k = 0; k < v.size(); ++k) {
      if ((k / np >= std::size_t(n) || k % np >= std::size_t(n)) && v[k] != kSentinel) return false;
    }
    return true;
  }

  void expectSound() const {
    EXPECT_EQ(status, 0);
    EXPECT_LE(reconstructionError(), 1e-12);
    for (double value : w) EXPECT_GE(value, 0.0);
    EXPECT_TRUE(paddingUntouched());
  }

  // Zeroes the singular values below 1e-10 of the largest, as FIT does
  // below its tolerance.
  void editSingularValues() {
    const double largest = *std::max_element(w.begin(), w.end());
    for (double& value : w)
      if (value < 1e-10 * largest) value = 0.0;
  }

  std::vector<double> solve(const std::vector<double>& b) {
    std::vector<double> x(n, kSentinel);
    svdSolve(m, n, int(u.size()) / np, np, b.data(), u.data(), w.data(), v.data(), work.data(),
             x.data());
    return x;
  }

  std::vector<double> covariance() {
    std::vector<double> c(n * n, kSentinel);
    svdCovariance(n, np, n, w.data(), v.data(), work.data(), c.data());
    return c;
  }
};

std::vector<double> randomMatrix(std::mt19937& rng, int m, int n) {
  std::normal_distribution<double> normal;
  std::vector<double> a(m * n);
  for (double& x : a) x = normal(rng);
  return a;
}

std::vector<std::vector<double>> columnsOf(const std::vector<double>& a, int m, int n) {
  std::vector<std::vector<double>> columns(n, std::vector<double>(m));
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < n; ++j) columns[j][i] = a[i * n + j];
  return columns;
}

void expectNear(const std::vector<double>& got, const std::vector<double>& want) {
  ASSERT_EQ(got.size(), want.size());
  double scale = 0.0;
  for (double x : want) scale = std::max(scale, std::fabs(x));
  for (std::size_t i = 0; i < want.size(); ++i) EXPECT_NEAR(got[i], want[i], 1e-12 * scale) << i;
}

TEST(Svd, ReconstructsRandomMatricesOfManyShapesWithPaddedStorage) {
  std::mt19937 rng(20240611);
  const int shapes[][4] = {{1, 1, 0, 0},  {3, 3, 0, 0},    {6, 6, 2, 3},  {9, 4, 0, 0},
                           {30, 7, 5, 1}, {150, 12, 0, 4}, {60, 49, 3, 1}};
  for (const auto& s : shapes) {
    SCOPED_TRACE(testing::Message() << s[0] << "x" << s[1]);
    Decomposition(randomMatrix(rng, s[0], s[1]), s[0], s[1], s[2], s[3]).expectSound();
  }
}

TEST(Svd, ReconstructsRankDeficientMatrices) {
  // An all-zero column leaves a zero on the diagonal of the bidiagonal form
  // whose super-diagonal neighbour has to be cancelled, in every position.
  std::mt19937 rng(7);
  const int m = 12, n = 5;
  for (int zero = 0; zero < n; ++zero) {
    SCOPED_TRACE(testing::Message() << "zero column " << zero);
    std::vector<double> a = randomMatrix(rng, m, n);
    for (int i = 0; i < m; ++i) a[i * n + zero] = 0.0;
    const Decomposition d(a, m, n, 2, 1);
    d.expectSound();
    EXPECT_LT(*std::min_element(d.w.begin(), d.w.end()),
              1e-14 * *std::max_element(d.w.begin(), d.w.end()));
  }
  // Rank 2 of 5, as a product of thin factors.
  const std::vector<double> left = randomMatrix(rng, m, 2), right = randomMatrix(rng, 2, n);
  std::vector<double> a(m * n, 0.0);
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < n; ++j)
      for (int k = 0; k < 2; ++k) a[i * n + j] += left[i * 2 + k] * right[k * n + j];
  const Decomposition d(a, m, n, 1, 1);
  d.expectSound();
  std::vector<double> sorted = d.w;
  std::sort(sorted.begin(), sorted.end());
  EXPECT_LT(sorted[2], 1e-14 * sorted[4]);
  EXPECT_GT(sorted[3], 1e-3 * sorted[4]);
}

TEST(Svd, WrongShapeGivesStatusMinusOneAndWritesNothingElse) {
  const int shapes[][4] = {{2, 3, 2, 3}, {5, 3, 4, 3}, {5, 3, 5, 2}};  // m < n, m > mp, n > np
  for (const auto& s : shapes) {
    std::vector<double> a(64, kSentinel), w(8, kSentinel), v(64, kSentinel), work(8, kSentinel),
        x(8, kSentinel), b(8, 1.0);
    int status = 99;
    svdDecompose(s[0], s[1], s[2], s[3], a.data(), w.data(), v.data(), work.data(), status);
    EXPECT_EQ(status, -1);
    svdSolve(s[0], s[1], s[2], s[3], b.data(), a.data(), w.data(), v.data(), work.data(), x.data());
    for (const auto* array : {&a, &w, &v, &work, &x}) {
      EXPECT_EQ(std::count(array->begin(), array->end(), kSentinel), long(array->size()));
    }
  }
}

TEST(Svd, SolutionAndCovarianceAreThoseOfTheNormalEquationsOverTheRetainedDirections) {
  std::mt19937 rng(99);
  const int m = 40;
  const std::vector<double> b = randomMatrix(rng, m, 1);
  // Full rank.
  const std::vector<double> a = randomMatrix(rng, m, 6);
  const NormalSolution full = solveNormalEquations(columnsOf(a, m, 6), b);
  Decomposition d(a, m, 6, 4, 2);
  ASSERT_EQ(d.status, 0);
  expectNear(d.solve(b), full.x);
  std::vector<double> inverse;
  for (const auto& row : full.inverse) inverse.insert(inverse.end(), row.begin(), row.end());
  expectNear(d.covariance(), inverse);

  // Columns 0 and 1 identical, or column 1 all zero: with the zero singular
  // value dropped, the solution is the shortest one, the reduced problem's
  // coefficient of that column shared equally, or none for the zero column;
  // the covariance T G T^T, with G the reduced problem's inverse.
  const std::vector<double> reduced = randomMatrix(rng, m, 2);
  const NormalSolution r = solveNormalEquations(columnsOf(reduced, m, 2), b);
  const std::vector<std::vector<double>>& g = r.inverse;
  for (const double share : {0.5, 0.0}) {
    SCOPED_TRACE(testing::Message() << "share " << share);
    std::vector<double> three(m * 3);
    for (int i = 0; i < m; ++i) {
      three[i * 3 + 0] = reduced[i * 2];
      three[i * 3 + 1] = share == 0.0 ? 0.0 : reduced[i * 2];
      three[i * 3 + 2] = reduced[i * 2 + 1];
    }
    const double t = share == 0.0 ? 1.0 : 0.5;  // the kept column's share
    Decomposition dd(three, m, 3, 0, 1);
    ASSERT_EQ(dd.status, 0);
    dd.editSingularValues();
    EXPECT_EQ(std::count(dd.w.begin(), dd.w.end(), 0.0), 1);
    expectNear(dd.solve(b), {t * r.x[0], share * r.x[0], r.x[1]});
    expectNear(dd.covariance(), {t * t * g[0][0], t * share * g[0][0], t * g[0][1],
                                 t * share * g[0][0], share * share * g[0][0], share * g[0][1],
                                 t * g[1][0], share * g[1][0], g[1][1]});
  }
}

TEST(Svd, HypotSafeNeitherOverflowsNorUnderflows) {
  EXPECT_EQ(hypotSafe(0.0, 0.0), 0.0);
  EXPECT_EQ(hypotSafe(-4.0, 3.0), 5.0);
  EXPECT_EQ(hypotSafe(0.0, -2.5), 2.5);
  EXPECT_DOUBLE_EQ(hypotSafe(1e300, 1e300), 1e300 * std::sqrt(2.0));
  EXPECT_DOUBLE_EQ(hypotSafe(1e-300, -1e-300), 1e-300 * std::sqrt(2.0));
}

}  // namespace
}  // namespace zenfit::test
