#include "fit/svd.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace zenfit {
namespace {

constexpr double kSentinel = -7777.0;

// A decomposition run on a matrix stored with padded rows and columns, so
// that every routine is exercised with declared sizes beyond the logical ones.
struct Decomposition {
  int m, n, mp, np;
  std::vector<double> original;  // m x n, row length n
  std::vector<double> u, w, v, work;
  int status = 99;

  Decomposition(const std::vector<double>& a, int rows, int cols, int padRows = 0, int padCols = 0)
      : m(rows), n(cols), mp(rows + padRows), np(cols + padCols), original(a),
        u(mp * np, kSentinel), w(n, kSentinel), v(np * np, kSentinel), work(n, kSentinel) {
    for (int i = 0; i < m; ++i)
      for (int j = 0; j < n; ++j) u[i * np + j] = a[i * n + j];
    svdDecompose(m, n, mp, np, u.data(), w.data(), v.data(), work.data(), status);
  }

  double U(int i, int j) const { return u[i * np + j]; }
  double V(int i, int j) const { return v[i * np + j]; }

  // Largest |U diag(w) V^T - A| relative to the largest |A|.
  double reconstructionError() const {
    double error = 0.0, scale = 0.0;
    for (int i = 0; i < m; ++i) {
      for (int j = 0; j < n; ++j) {
        double s = 0.0;
        for (int k = 0; k < n; ++k) s += U(i, k) * w[k] * V(j, k);
        error = std::max(error, std::fabs(s - original[i * n + j]));
        scale = std::max(scale, std::fabs(original[i * n + j]));
      }
    }
    return scale > 0.0 ? error / scale : error;
  }

  // Largest departure of V^T V from the identity.
  double vOrthogonality() const {
    double worst = 0.0;
    for (int p = 0; p < n; ++p)
      for (int q = 0; q < n; ++q) {
        double s = 0.0;
        for (int k = 0; k < n; ++k) s += V(k, p) * V(k, q);
        worst = std::max(worst, std::fabs(s - (p == q ? 1.0 : 0.0)));
      }
    return worst;
  }

  // Largest departure of U^T U from the identity over the columns that
  // carry a singular value.
  double uOrthonormality() const {
    const double wmax = *std::max_element(w.begin(), w.end());
    double worst = 0.0;
    for (int p = 0; p < n; ++p)
      for (int q = 0; q < n; ++q) {
        if (w[p] <= 1e-10 * wmax || w[q] <= 1e-10 * wmax) continue;
        double s = 0.0;
        for (int k = 0; k < m; ++k) s += U(k, p) * U(k, q);
        worst = std::max(worst, std::fabs(s - (p == q ? 1.0 : 0.0)));
      }
    return worst;
  }

  bool paddingUntouched() const {
    for (int i = 0; i < mp; ++i)
      for (int j = 0; j < np; ++j)
        if ((i >= m || j >= n) && u[i * np + j] != kSentinel) return false;
    for (int i = 0; i < np; ++i)
      for (int j = 0; j < np; ++j)
        if ((i >= n || j >= n) && v[i * np + j] != kSentinel) return false;
    return true;
  }

  // Zeroes the singular values below ratio times the largest, as the fit does.
  void editSingularValues(double ratio) {
    const double wmax = *std::max_element(w.begin(), w.end());
    for (double& value : w)
      if (value < ratio * wmax) value = 0.0;
  }

  std::vector<double> solve(const std::vector<double>& b) {
    std::vector<double> x(n, kSentinel);
    svdSolve(m, n, mp, np, b.data(), u.data(), w.data(), v.data(), work.data(), x.data());
    return x;
  }

  // Covariance with a row length of its own, wider than n.
  std::vector<double> covariance(int nc) {
    std::vector<double> c(n * nc, kSentinel);
    svdCovariance(n, np, nc, w.data(), v.data(), work.data(), c.data());
    return c;
  }
};

std::vector<double> randomMatrix(std::mt19937& rng, int m, int n) {
  std::normal_distribution<double> normal;
  std::vector<double> a(m * n);
  for (double& x : a) x = normal(rng);
  return a;
}

void expectSoundDecomposition(const Decomposition& d) {
  EXPECT_EQ(d.status, 0);
  EXPECT_LE(d.reconstructionError(), 1e-12);
  EXPECT_LE(d.vOrthogonality(), 1e-12);
  EXPECT_LE(d.uOrthonormality(), 1e-12);
  for (double value : d.w) EXPECT_GE(value, 0.0);
  EXPECT_TRUE(d.paddingUntouched());
}

// Independent least squares: the normal equations A^T A x = A^T b solved,
// and A^T A inverted, by Gauss-Jordan elimination with partial pivoting.
struct NormalEquations {
  std::vector<double> x, inverse;

  NormalEquations(const std::vector<double>& a, const std::vector<double>& b, int m, int n) {
    const int width = 2 * n + 1;  // [A^T A | I | A^T b]
    std::vector<double> t(n * width, 0.0);
    for (int p = 0; p < n; ++p) {
      for (int q = 0; q < n; ++q)
        for (int i = 0; i < m; ++i) t[p * width + q] += a[i * n + p] * a[i * n + q];
      t[p * width + n + p] = 1.0;
      for (int i = 0; i < m; ++i) t[p * width + 2 * n] += a[i * n + p] * b[i];
    }
    for (int p = 0; p < n; ++p) {
      int pivot = p;
      for (int q = p + 1; q < n; ++q)
        if (std::fabs(t[q * width + p]) > std::fabs(t[pivot * width + p])) pivot = q;
      for (int k = 0; k < width; ++k) std::swap(t[p * width + k], t[pivot * width + k]);
      const double d = t[p * width + p];
      for (int k = 0; k < width; ++k) t[p * width + k] /= d;
      for (int q = 0; q < n; ++q) {
        if (q == p) continue;
        const double f = t[q * width + p];
        for (int k = 0; k < width; ++k) t[q * width + k] -= f * t[p * width + k];
      }
    }
    x.resize(n);
    inverse.resize(n * n);
    for (int p = 0; p < n; ++p) {
      x[p] = t[p * width + 2 * n];
      for (int q = 0; q < n; ++q) inverse[p * n + q] = t[p * width + n + q];
    }
  }
};

double maxRelativeDifference(const std::vector<double>& got, const std::vector<double>& want) {
  double error = 0.0, scale = 0.0;
  for (std::size_t i = 0; i < want.size(); ++i) {
    error = std::max(error, std::fabs(got[i] - want[i]));
    scale = std::max(scale, std::fabs(want[i]));
  }
  return error / scale;
}

// Copies the n x n block of a matrix stored with row length nc.
std::vector<double> block(const std::vector<double>& c, int n, int nc) {
  std::vector<double> out(n * n);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) out[i * n + j] = c[i * nc + j];
  return out;
}

TEST(Svd, ReconstructsRandomMatricesOfManyShapesWithPaddedStorage) {
  std::mt19937 rng(20240611);
  const int shapes[][4] = {{1, 1, 0, 0}, {3, 3, 0, 0}, {6, 6, 2, 3}, {9, 4, 0, 0},
                           {30, 7, 5, 1}, {150, 12, 0, 4}, {60, 49, 3, 1}};
  for (const auto& s : shapes) {
    SCOPED_TRACE(testing::Message() << s[0] << "x" << s[1]);
    const Decomposition d(randomMatrix(rng, s[0], s[1]), s[0], s[1], s[2], s[3]);
    expectSoundDecomposition(d);
  }
}

TEST(Svd, ReconstructsRankDeficientMatrices) {
  std::mt19937 rng(7);
  const int m = 12, n = 5;
  // An all-zero column in each position, first included: the bidiagonal
  // form then has a zero on its diagonal and the super-diagonal beside it
  // has to be cancelled.
  for (int zero = 0; zero < n; ++zero) {
    SCOPED_TRACE(testing::Message() << "zero column " << zero);
    std::vector<double> a = randomMatrix(rng, m, n);
    for (int i = 0; i < m; ++i) a[i * n + zero] = 0.0;
    const Decomposition d(a, m, n, 2, 1);
    expectSoundDecomposition(d);
    EXPECT_LT(*std::min_element(d.w.begin(), d.w.end()),
              1e-14 * *std::max_element(d.w.begin(), d.w.end()));
  }
  // Square with a zero column, and rank 2 of 5 as a product of thin factors.
  {
    std::vector<double> a = randomMatrix(rng, n, n);
    for (int i = 0; i < n; ++i) a[i * n + 2] = 0.0;
    expectSoundDecomposition(Decomposition(a, n, n));
  }
  {
    const std::vector<double> left = randomMatrix(rng, m, 2), right = randomMatrix(rng, 2, n);
    std::vector<double> a(m * n, 0.0);
    for (int i = 0; i < m; ++i)
      for (int j = 0; j < n; ++j)
        for (int k = 0; k < 2; ++k) a[i * n + j] += left[i * 2 + k] * right[k * n + j];
    const Decomposition d(a, m, n, 1, 1);
    expectSoundDecomposition(d);
    std::vector<double> sorted = d.w;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_LT(sorted[2], 1e-14 * sorted[4]);
    EXPECT_GT(sorted[3], 1e-3 * sorted[4]);
  }
  // The zero matrix.
  const Decomposition zero(std::vector<double>(4 * 3, 0.0), 4, 3);
  EXPECT_EQ(zero.status, 0);
  for (double value : zero.w) EXPECT_EQ(value, 0.0);
}

TEST(Svd, SingularValuesOfAKnownMatrixComeBackNonNegativeInNoSetOrder) {
  // Symmetric tridiagonal [2 1 0; 1 3 1; 0 1 4]: eigenvalues 3 - sqrt 3, 3,
  // 3 + sqrt 3, all positive, so they are also its singular values.
  const Decomposition d({2, 1, 0, 1, 3, 1, 0, 1, 4}, 3, 3);
  ASSERT_EQ(d.status, 0);
  std::vector<double> sorted = d.w;
  std::sort(sorted.begin(), sorted.end());
  EXPECT_NEAR(sorted[0], 3.0 - std::sqrt(3.0), 1e-14);
  EXPECT_NEAR(sorted[1], 3.0, 1e-14);
  EXPECT_NEAR(sorted[2], 3.0 + std::sqrt(3.0), 1e-14);

  // A diagonal matrix with a negative entry: its magnitudes, positions kept.
  const Decomposition diagonal({1, 0, 0, 0, -3, 0, 0, 0, 2, 0, 0, 0}, 4, 3);
  ASSERT_EQ(diagonal.status, 0);
  EXPECT_DOUBLE_EQ(diagonal.w[0], 1.0);
  EXPECT_DOUBLE_EQ(diagonal.w[1], 3.0);
  EXPECT_DOUBLE_EQ(diagonal.w[2], 2.0);
  EXPECT_LE(diagonal.reconstructionError(), 1e-15);
}

TEST(Svd, WrongShapeGivesStatusMinusOneAndWritesNothingElse) {
  const int shapes[][4] = {{2, 3, 2, 3}, {5, 3, 4, 3}, {5, 3, 5, 2}};  // M<N, M>MP, N>NP
  for (const auto& s : shapes) {
    const int m = s[0], n = s[1], mp = s[2], np = s[3];
    std::vector<double> a(std::max(m, mp) * std::max(n, np) + 8, kSentinel);
    std::vector<double> w(n + 2, kSentinel), v(16 + 8, kSentinel), work(n + 2, kSentinel);
    std::vector<double> x(n + 2, kSentinel), b(m + 2, 1.0), cvm(16, kSentinel);
    const std::vector<double> a0 = a, w0 = w, v0 = v, work0 = work, x0 = x;
    int status = 99;
    svdDecompose(m, n, mp, np, a.data(), w.data(), v.data(), work.data(), status);
    EXPECT_EQ(status, -1);
    svdSolve(m, n, mp, np, b.data(), a.data(), w.data(), v.data(), work.data(), x.data());
    EXPECT_EQ(a, a0);
    EXPECT_EQ(w, w0);
    EXPECT_EQ(v, v0);
    EXPECT_EQ(work, work0);
    EXPECT_EQ(x, x0);
  }
}

TEST(Svd, QrIterationThatCannotConvergeReportsTheLowestFailingValue) {
  // Finite entries of order 1e160: the shift's (y - z)(y + z) overflows, the
  // iteration produces no number and gives up after 30 passes on every value
  // but the first, which needs no iteration. The lowest failing one, 2, is
  // reported.
  std::vector<double> a = {2, 1, 0, 1, 3, 1, 0, 1, 4};
  for (double& x : a) x *= 1e160;
  Decomposition d(a, 3, 3);
  EXPECT_EQ(d.status, 2);

  // The same at a safe scale converges.
  for (double& x : a) x *= 1e-160;
  EXPECT_EQ(Decomposition(a, 3, 3).status, 0);

  // A NaN in the data cannot converge either, and must not run off the arrays.
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(Decomposition({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, nan}, 4, 4, 1, 1).status,
            2);
}

TEST(Svd, SolutionAndCovarianceAgreeWithTheNormalEquations) {
  std::mt19937 rng(99);
  const int m = 40, n = 6, nc = 9;
  const std::vector<double> a = randomMatrix(rng, m, n);
  const std::vector<double> b = randomMatrix(rng, m, 1);
  const NormalEquations reference(a, b, m, n);

  Decomposition d(a, m, n, 4, 2);
  ASSERT_EQ(d.status, 0);
  EXPECT_LE(maxRelativeDifference(d.solve(b), reference.x), 1e-12);
  const std::vector<double> c = d.covariance(nc);
  EXPECT_LE(maxRelativeDifference(block(c, n, nc), reference.inverse), 1e-12);
  for (int i = 0; i < n; ++i)
    for (int j = n; j < nc; ++j) EXPECT_EQ(c[i * nc + j], kSentinel);  // beyond n: untouched
}

TEST(Svd, ZeroedSingularValueDropsItsDirectionFromSolutionAndCovariance) {
  // Columns 0 and 1 identical: the minimum-norm solution shares the
  // coefficient c0 of the reduced problem [a0 a2] equally, (c0/2, c0/2, c2),
  // and the covariance is T+ G T+^T with G the reduced (B^T B)^-1 and
  // T+ = [1/2 0; 1/2 0; 0 1].
  std::mt19937 rng(3);
  const int m = 15;
  const std::vector<double> reduced = randomMatrix(rng, m, 2);
  const std::vector<double> b = randomMatrix(rng, m, 1);
  std::vector<double> a(m * 3);
  for (int i = 0; i < m; ++i) {
    a[i * 3 + 0] = a[i * 3 + 1] = reduced[i * 2 + 0];
    a[i * 3 + 2] = reduced[i * 2 + 1];
  }
  const NormalEquations r(reduced, b, m, 2);
  const std::vector<double>& g = r.inverse;

  Decomposition d(a, m, 3, 0, 1);
  ASSERT_EQ(d.status, 0);
  d.editSingularValues(1e-10);
  EXPECT_EQ(std::count(d.w.begin(), d.w.end(), 0.0), 1);
  EXPECT_LE(maxRelativeDifference(d.solve(b), {r.x[0] / 2, r.x[0] / 2, r.x[1]}), 1e-12);
  const std::vector<double> expected = {g[0] / 4, g[0] / 4, g[1] / 2,  //
                                        g[0] / 4, g[0] / 4, g[1] / 2,  //
                                        g[2] / 2, g[2] / 2, g[3]};
  EXPECT_LE(maxRelativeDifference(d.covariance(3), expected), 1e-12);

  // An all-zero column: its coefficient, covariance row and column are
  // exactly zero and the others are those of the problem without it.
  std::vector<double> z(m * 3);
  for (int i = 0; i < m; ++i) {
    z[i * 3 + 0] = reduced[i * 2 + 0];
    z[i * 3 + 1] = 0.0;
    z[i * 3 + 2] = reduced[i * 2 + 1];
  }
  Decomposition dz(z, m, 3, 2, 0);
  ASSERT_EQ(dz.status, 0);
  dz.editSingularValues(1e-10);
  const std::vector<double> x = dz.solve(b);
  EXPECT_EQ(x[1], 0.0);
  EXPECT_LE(maxRelativeDifference({x[0], x[2]}, r.x), 1e-12);
  const std::vector<double> c = dz.covariance(3);
  for (int k = 0; k < 3; ++k) {
    EXPECT_EQ(c[1 * 3 + k], 0.0);
    EXPECT_EQ(c[k * 3 + 1], 0.0);
  }
  EXPECT_LE(maxRelativeDifference({c[0], c[2], c[6], c[8]}, g), 1e-12);
}

TEST(Svd, HypotSafeNeitherOverflowsNorUnderflows) {
  EXPECT_EQ(hypotSafe(0.0, 0.0), 0.0);
  EXPECT_EQ(hypotSafe(3.0, 4.0), 5.0);
  EXPECT_EQ(hypotSafe(-4.0, 3.0), 5.0);
  EXPECT_DOUBLE_EQ(hypotSafe(1e300, 1e300), 1e300 * std::sqrt(2.0));
  EXPECT_DOUBLE_EQ(hypotSafe(1e-300, -1e-300), 1e-300 * std::sqrt(2.0));
  EXPECT_EQ(hypotSafe(0.0, -2.5), 2.5);
}

}  // namespace
}  // namespace zenfit
