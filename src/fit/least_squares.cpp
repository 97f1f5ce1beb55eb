#include "fit/least_squares.h"

#include <cmath>
#include <cstring>

#include "fit/svd.h"
#include "fit/svd_steps.h"
#include "model/wide_vectors.h"

namespace zenfit {
namespace {

// |magnitude| with the sign of f, where f = 0 counts as positive.
double withSignOf(double magnitude, double f) {
  return f < 0.0 ? -std::fabs(magnitude) : std::fabs(magnitude);
}

// y[c] += alpha * x[c] for c = first .. last-1, y and x apart.
ZENFIT_ALWAYS_INLINE void addMultiple(double* __restrict y, const double* __restrict x,
                                      double alpha, int first, int last) {
  for (int c = first; c < last; ++c) y[c] += alpha * x[c];
}

// What step i of the reduction applies to the rows below row i.
struct Step {
  int i = 0;                        // the column transformed
  int n = 0;                        // the columns of the matrix
  const double* f = nullptr;        // column multipliers for columns i+1 .. n-1, or null
  double columnScale = 0.0;         // restores column i's scale, or 0: none
  double bMultiplier = 0.0;         // the column transformation's multiplier of b, or 0
  const double* row = nullptr;      // row i's Householder vector (scaled), or null
  const double* rowWork = nullptr;  // its multipliers
};

// Applies the step to `count` consecutive rows (row length np) and their
// elements of b, and adds |a(j, i+1)| of each to nextScale, in row order.
// The rows are taken together so that their inner products with the row
// vector, each summed in its own order, run side by side.
template <int count>
ZENFIT_ALWAYS_INLINE void applyStep(const Step& step, double* rows, int np, double* b,
                                    double& nextScale) {
  const int i = step.i;
  const int l = i + 1;
  const int n = step.n;
  double* r[count];
  for (int k = 0; k < count; ++k) r[k] = rows + k * np;
  if (step.f != nullptr) {
    for (int k = 0; k < count; ++k) addMultiple(r[k], step.f, r[k][i], l, n);
  }
  if (step.bMultiplier != 0.0) {
    for (int k = 0; k < count; ++k) b[k] += step.bMultiplier * r[k][i];
  }
  if (step.columnScale != 0.0) {
    for (int k = 0; k < count; ++k) r[k][i] *= step.columnScale;
  }
  if (step.row != nullptr) {
    double s[count];
    for (int k = 0; k < count; ++k) s[k] = 0.0;
    for (int c = l; c < n; ++c) {
      for (int k = 0; k < count; ++k) s[k] += r[k][c] * step.row[c];
    }
    for (int k = 0; k < count; ++k) addMultiple(r[k], step.rowWork, s[k], l, n);
  }
  if (l < n) {
    for (int k = 0; k < count; ++k) nextScale += std::fabs(r[k][l]);
  }
}

}  // namespace

SingularValueEditing editSingularValues(double* w, int n, double tolerance) {
  SingularValueEditing editing;
  double wmax = 0.0;
  for (int j = 0; j < n; ++j) {
    if (w[j] > wmax) wmax = w[j];
  }
  if (!(wmax > 0.0)) return editing;
  editing.smallestRatio = wmax;
  editing.largestRatio = 0.0;
  for (int j = 0; j < n; ++j) {
    const double ratio = w[j] / wmax;
    if (ratio < tolerance) {
      w[j] = 0.0;
      editing.zeroed = true;
      if (ratio < editing.smallestRatio) editing.smallestRatio = ratio;
      if (ratio > editing.largestRatio) editing.largestRatio = ratio;
    }
  }
  return editing;
}

namespace {

// svdDecompose's reduction step by step; the comments name where each
// sum of its description is taken here.
ZENFIT_ALWAYS_INLINE double reduceRows(int m, int n, int np, double* a, double* b, double& g,
                                       double* w, double* work, double* dots) {
  double scale = 0.0;
  double anorm = 0.0;
  g = 0.0;
  // The scale of column 0; later columns' come from the previous step's
  // pass over the rows, in the same row order.
  double nextScale = 0.0;
  for (int k = 0; k < m; ++k) nextScale += std::fabs(a[static_cast<long>(k) * np]);

  for (int i = 0; i < n; ++i) {
    const int l = i + 1;
    double* ri = a + static_cast<long>(i) * np;
    work[i] = scale * g;

    // Column i, rows i .. m-1.
    Step step;
    step.i = i;
    step.n = n;
    double s = 0.0;
    g = 0.0;
    scale = nextScale;
    nextScale = 0.0;
    if (scale != 0.0) {
      const double rscale = 1.0 / scale;
      for (int k = i; k < m; ++k) {
        double& x = a[static_cast<long>(k) * np + i];
        x *= rscale;
        s += x * x;
      }
      const double f = ri[i];
      g = -withSignOf(std::sqrt(s), f);
      const double h = f * g - s;
      ri[i] = f - g;
      // Inner products of the column with every later column and with b,
      // each summed down the rows in order, all in one pass.
      // Four rows at a time, added in row order: the partial sums stay in
      // registers instead of going through memory after every row.
      for (int j = l; j < n; ++j) dots[j] = 0.0;
      double sb = 0.0;
      int k = i;
      for (; k + 4 <= m; k += 4) {
        const double* r0 = a + static_cast<long>(k) * np;
        const double* r1 = r0 + np;
        const double* r2 = r1 + np;
        const double* r3 = r2 + np;
        const double x0 = r0[i], x1 = r1[i], x2 = r2[i], x3 = r3[i];
        for (int j = l; j < n; ++j) {
          dots[j] = dots[j] + x0 * r0[j] + x1 * r1[j] + x2 * r2[j] + x3 * r3[j];
        }
        sb = sb + x0 * b[k] + x1 * b[k + 1] + x2 * b[k + 2] + x3 * b[k + 3];
      }
      for (; k < m; ++k) {
        const double* row = a + static_cast<long>(k) * np;
        const double x = row[i];
        for (int j = l; j < n; ++j) dots[j] += x * row[j];
        sb += x * b[k];
      }
      for (int j = l; j < n; ++j) dots[j] = dots[j] / h;
      if (i != n - 1) step.f = dots;
      step.columnScale = scale;
      // U's column i is this transformation applied to e_i, unless the
      // singular value's place on the diagonal is zero.
      if (scale * g != 0.0) step.bMultiplier = sb / h;
    }
    w[i] = scale * g;
    // Row i takes the column transformation before giving the row one.
    double unused = 0.0;
    applyStep<1>(step, ri, np, b + i, unused);

    // Row i, columns i+1 .. n-1.
    s = 0.0;
    g = scale = 0.0;
    if (i != n - 1) {
      for (int k = l; k < n; ++k) scale += std::fabs(ri[k]);
      if (scale != 0.0) {
        const double rscale = 1.0 / scale;
        for (int k = l; k < n; ++k) {
          ri[k] *= rscale;
          s += ri[k] * ri[k];
        }
        const double f = ri[l];
        g = -withSignOf(std::sqrt(s), f);
        const double h = f * g - s;
        ri[l] = f - g;
        const double rh = 1.0 / h;
        for (int k = l; k < n; ++k) work[k] = ri[k] * rh;
        if (i != m - 1) {
          step.row = ri;
          step.rowWork = work;
        }
      }
    }

    // Both transformations on rows i+1 .. m-1, eight at a time.
    int j = l;
    for (; j + 8 <= m; j += 8) {
      applyStep<8>(step, a + static_cast<long>(j) * np, np, b + j, nextScale);
    }
    for (; j < m; ++j) applyStep<1>(step, a + static_cast<long>(j) * np, np, b + j, nextScale);
    if (scale != 0.0) {
      for (int k = l; k < n; ++k) ri[k] *= scale;
    }
    anorm = std::fmax(anorm, std::fabs(w[i]) + std::fabs(work[i]));
  }
  return anorm;
}

double reduceBaseline(int m, int n, int np, double* a, double* b, double& g, double* w,
                      double* work, double* dots) {
  return reduceRows(m, n, np, a, b, g, w, work, dots);
}

#if ZENFIT_WIDE_VECTORS
ZENFIT_WIDE_TARGET double reduceWide(int m, int n, int np, double* a, double* b, double& g,
                                     double* w, double* work, double* dots) {
  return reduceRows(m, n, np, a, b, g, w, work, dots);
}
#endif

}  // namespace

double LeastSquares::bidiagonalise(int m, int n, int np, double* a, double* b, double& g) {
#if ZENFIT_WIDE_VECTORS
  if (wide_ && wideVectorsAvailable()) return reduceWide(m, n, np, a, b, g, w_, work_, dots_);
#endif
  return reduceBaseline(m, n, np, a, b, g, w_, work_, dots_);
}

int LeastSquares::solve(int m, int n, int mp, int np, double* a, double* b, double tolerance) {
  if (m < n || m > mp || n > np || n > kMaxColumns) return -1;
  editing_ = SingularValueEditing{};
  if (n <= 0) return 0;

  double g = 0.0;
  const double anorm = bidiagonalise(m, n, np, a, b, g);
  svd_steps::accumulateRight(n, a, np, v_, n, work_, g);
  // b^T U as a matrix of one row: the sweeps rotate it as they rotate U.
  std::memcpy(utb_, b, sizeof(double) * n);
  int status = 0;
  svd_steps::diagonalise(1, n, anorm, utb_, n, w_, v_, n, work_, status);
  if (status != 0) return status;

  std::memcpy(edited_, w_, sizeof(double) * n);
  editing_ = editSingularValues(edited_, n, tolerance);
  // x = V diag(1/w) U^T b, as svdSolve.
  for (int j = 0; j < n; ++j) work_[j] = edited_[j] != 0.0 ? utb_[j] / edited_[j] : 0.0;
  for (int j = 0; j < n; ++j) {
    double s = 0.0;
    for (int jj = 0; jj < n; ++jj) s += v_[j * n + jj] * work_[jj];
    x_[j] = s;
  }
  svdCovariance(n, n, n, edited_, v_, work_, covariance_);
  return 0;
}

}  // namespace zenfit
