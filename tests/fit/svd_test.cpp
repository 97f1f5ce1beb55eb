// The singular value decomposition: reconstruction of random and
// rank-deficient matrices, and solutions and covariances against the normal
// equations, with zeroed singular values left out.
#include "fit/svd.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace zenfit::test {
namespace {

// A decomposition of the m x n matrix a (row by row), stored with padded
// rows and columns so that the declared sizes exceed the logical ones.
struct Decomposition {
  int m, n, mp, np;
  std::vector<double> a, u, w, v, work;
  int status = 99;

  Decomposition(const std::vector<double>& matrix, int rows, int cols, int padRows = 0,
                int padCols = 0)
      : m(rows), n(cols), mp(rows + padRows), np(cols + padCols), a(matrix), u(mp * np),
        w(n), v(np * np), work(n) {
    for (int i = 0; i < m; ++i) std::copy_n(&a[i * n], n, &u[i * np]);
    svdDecompose(m, n, mp, np, u.data(), w.data(), v.data(), work.data(), status);
  }

  // Sound: status 0, no negative singular value, and U diag(w) V^T equal
  // to A to 1e-12 of its largest element.
  void expectSound() const {
    EXPECT_EQ(status, 0);
    double error = 0.0, scale = 1e-300;
    for (int i = 0; i < m; ++i) {
      for (int j = 0; j < n; ++j) {
        double s = 0.0;
        for (int k = 0; k < n; ++k) s += u[i * np + k] * w[k] * v[j * np + k];
        error = std::max(error, std::fabs(s - a[i * n + j]));
        scale = std::max(scale, std::fabs(a[i * n + j]));
      }
    }
    EXPECT_LE(error, 1e-12 * scale);
    EXPECT_GE(*std::min_element(w.begin(), w.end()), 0.0);
  }
};

std::vector<double> randomMatrix(std::mt19937& rng, int m, int n) {
  std::normal_distribution<double> normal;
  std::vector<double> a(m * n);
  for (double& x : a) x = normal(rng);
  return a;
}

TEST(Svd, ReconstructsRandomAndRankDeficientMatricesWithPaddedStorage) {
  std::mt19937 rng(20240611);
  const int shapes[][4] = {{1, 1, 0, 0},  {3, 3, 0, 0},    {6, 6, 2, 3},  {9, 4, 0, 0},
                           {30, 7, 5, 1}, {150, 12, 0, 4}, {60, 49, 3, 1}};
  for (const auto& s : shapes) {
    SCOPED_TRACE(testing::Message() << s[0] << "x" << s[1]);
    Decomposition(randomMatrix(rng, s[0], s[1]), s[0], s[1], s[2], s[3]).expectSound();
  }
  // An all-zero column leaves a zero on the diagonal of the bidiagonal form
  // whose super-diagonal neighbour has to be cancelled, in every position.
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
}

TEST(Svd, SolutionAndCovarianceLeaveOutZeroedSingularValues) {
  // Column 1 a copy of column 0, or all zero: with its zero singular value
  // dropped the solution is the shortest, the coefficient of the problem
  // without it shared equally or not at all, and the covariance T G T^T,
  // with G that problem's inverse normal matrix, here in closed form.
  std::mt19937 rng(99);
  const int m = 40;
  const std::vector<double> reduced = randomMatrix(rng, m, 2), b = randomMatrix(rng, m, 1);
  double n00 = 0.0, n01 = 0.0, n11 = 0.0, r0 = 0.0, r1 = 0.0;  // normal equations
  for (int i = 0; i < m; ++i) {
    const double c0 = reduced[2 * i], c1 = reduced[2 * i + 1];
    n00 += c0 * c0, n01 += c0 * c1, n11 += c1 * c1, r0 += c0 * b[i], r1 += c1 * b[i];
  }
  const double det = n00 * n11 - n01 * n01;
  const double g[2][2] = {{n11 / det, -n01 / det}, {-n01 / det, n00 / det}};
  const double x0 = g[0][0] * r0 + g[0][1] * r1, x1 = g[1][0] * r0 + g[1][1] * r1;
  for (const double share : {0.5, 0.0}) {
    SCOPED_TRACE(testing::Message() << "share " << share);
    const double t = 1.0 - share;  // the first column's share
    std::vector<double> a;
    for (int i = 0; i < m; ++i) {
      a.insert(a.end(), {reduced[2 * i], share * 2 * reduced[2 * i], reduced[2 * i + 1]});
    }
    Decomposition d(a, m, 3, 0, 1);
    ASSERT_EQ(d.status, 0);
    const double largest = *std::max_element(d.w.begin(), d.w.end());
    for (double& value : d.w) value = value < 1e-10 * largest ? 0.0 : value;
    EXPECT_EQ(std::count(d.w.begin(), d.w.end(), 0.0), 1);
    std::vector<double> x(3), c(9);
    svdSolve(m, 3, m, d.np, b.data(), d.u.data(), d.w.data(), d.v.data(), d.work.data(), x.data());
    svdCovariance(3, d.np, 3, d.w.data(), d.v.data(), d.work.data(), c.data());
    const double wantX[] = {t * x0, share * x0, x1};
    const double wantC[] = {t * t * g[0][0], t * share * g[0][0], t * g[0][1],
                            t * share * g[0][0], share * share * g[0][0], share * g[0][1],
                            t * g[1][0], share * g[1][0], g[1][1]};
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(x[k], wantX[k], 1e-12 * std::fabs(x0)) << k;
    for (int k = 0; k < 9; ++k) EXPECT_NEAR(c[k], wantC[k], 1e-12 * (g[0][0] + g[1][1])) << k;
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
