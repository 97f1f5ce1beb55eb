#include "fit/svd.h"

#include <cmath>

#include "fit/svd_steps.h"

namespace zenfit {
namespace {

constexpr int kMaxQrPasses = 30;

// Beyond this |f|, f^2 + 1 would overflow or lose the 1; |f| is then the root.
constexpr double kShiftRootLimit = 1e15;

// A row-major matrix with a declared row length.
class Matrix {
 public:
  Matrix(double* data, int rowLength) : data_(data), rowLength_(rowLength) {}
  double& operator()(int i, int j) const { return data_[i * rowLength_ + j]; }

 private:
  double* data_;
  int rowLength_;
};

bool badShape(int m, int n, int mp, int np) { return m < n || m > mp || n > np; }

// |magnitude| with the sign of f, where f = 0 counts as positive.
double withSignOf(double magnitude, double f) {
  return f < 0.0 ? -std::fabs(magnitude) : std::fabs(magnitude);
}

// Negligible beside the norm of the bidiagonal form: exact floating-point
// test, so the iteration stops at the working precision whatever the scale.
bool negligible(double anorm, double value) { return anorm + std::fabs(value) == anorm; }

// Householder reduction of a to upper bidiagonal form: diagonal in w,
// super-diagonal in work (work[0] = 0). Returns the norm of the bidiagonal
// form and leaves in g the last row transformation's value.
double bidiagonalise(int m, int n, const Matrix& a, double* w, double* work, double& g) {
  double scale = 0.0;
  double anorm = 0.0;
  g = 0.0;
  for (int i = 0; i < n; ++i) {
    const int l = i + 1;
    work[i] = scale * g;

    // Column i, rows i .. m-1.
    double s = 0.0;
    g = scale = 0.0;
    if (i < m) {
      for (int k = i; k < m; ++k) scale += std::fabs(a(k, i));
      if (scale != 0.0) {
        const double rscale = 1.0 / scale;
        for (int k = i; k < m; ++k) {
          a(k, i) *= rscale;
          s += a(k, i) * a(k, i);
        }
        double f = a(i, i);
        g = -withSignOf(std::sqrt(s), f);
        const double h = f * g - s;
        a(i, i) = f - g;
        if (i != n - 1) {
          for (int j = l; j < n; ++j) {
            s = 0.0;
            for (int k = i; k < m; ++k) s += a(k, i) * a(k, j);
            f = s / h;
            for (int k = i; k < m; ++k) a(k, j) += f * a(k, i);
          }
        }
        for (int k = i; k < m; ++k) a(k, i) *= scale;
      }
    }
    w[i] = scale * g;

    // Row i, columns i+1 .. n-1.
    s = 0.0;
    g = scale = 0.0;
    if (i < m && i != n - 1) {
      for (int k = l; k < n; ++k) scale += std::fabs(a(i, k));
      if (scale != 0.0) {
        const double rscale = 1.0 / scale;
        for (int k = l; k < n; ++k) {
          a(i, k) *= rscale;
          s += a(i, k) * a(i, k);
        }
        const double f = a(i, l);
        g = -withSignOf(std::sqrt(s), f);
        const double h = f * g - s;
        a(i, l) = f - g;
        const double rh = 1.0 / h;
        for (int k = l; k < n; ++k) work[k] = a(i, k) * rh;
        if (i != m - 1) {
          for (int j = l; j < m; ++j) {
            s = 0.0;
            for (int k = l; k < n; ++k) s += a(j, k) * a(i, k);
            for (int k = l; k < n; ++k) a(j, k) += s * work[k];
          }
        }
        for (int k = l; k < n; ++k) a(i, k) *= scale;
      }
    }
    anorm = std::fmax(anorm, std::fabs(w[i]) + std::fabs(work[i]));
  }
  return anorm;
}

// Builds V from the row transformations stored in a; g is the value the
// reduction left.
void accumulateRight(int n, const Matrix& a, const Matrix& v, const double* work, double g) {
  for (int i = n - 1; i >= 0; --i) {
    const int l = i + 1;
    if (i != n - 1) {
      if (g != 0.0) {
        const double rg = 1.0 / g;
        // Dividing by a(i, l) first keeps the quotient from underflowing.
        for (int j = l; j < n; ++j) v(j, i) = (a(i, j) / a(i, l)) * rg;
        for (int j = l; j < n; ++j) {
          double s = 0.0;
          for (int k = l; k < n; ++k) s += a(i, k) * v(k, j);
          for (int k = l; k < n; ++k) v(k, j) += s * v(k, i);
        }
      }
      for (int j = l; j < n; ++j) v(i, j) = v(j, i) = 0.0;
    }
    v(i, i) = 1.0;
    g = work[i];
  }
}

// Builds U in place of a from the column transformations stored there.
void accumulateLeft(int m, int n, const Matrix& a, const double* w) {
  for (int i = n - 1; i >= 0; --i) {
    const int l = i + 1;
    const double g = w[i];
    if (i != n - 1) {
      for (int j = l; j < n; ++j) a(i, j) = 0.0;
    }
    if (g != 0.0) {
      const double rg = 1.0 / g;
      if (i != n - 1) {
        for (int j = l; j < n; ++j) {
          double s = 0.0;
          for (int k = l; k < m; ++k) s += a(k, i) * a(k, j);
          const double f = (s / a(i, i)) / g;
          for (int k = i; k < m; ++k) a(k, j) += f * a(k, i);
        }
      }
      for (int j = i; j < m; ++j) a(j, i) *= rg;
    } else {
      for (int j = i; j < m; ++j) a(j, i) = 0.0;
    }
    a(i, i) += 1.0;
  }
}

// Plane rotation of columns j and i of a matrix over rows 0 .. rows-1.
void rotateColumns(const Matrix& x, int rows, int j, int i, double c, double s) {
  for (int r = 0; r < rows; ++r) {
    const double p = x(r, j);
    const double q = x(r, i);
    x(r, j) = p * c + q * s;
    x(r, i) = q * c - p * s;
  }
}

// Zeroes the super-diagonal element work[l] when w[l-1] is negligible, by
// rotations of rows l-1 and i of the bidiagonal form (columns of U). Each
// rotation leaves c times the next super-diagonal element in place and
// pushes s times it into row l-1, to be removed by the next rotation
// (Golub & Reinsch's e[i] := c e[i]). Leaving work[i] unscaled would break
// A = U diag(w) V^T for any matrix with an all-zero column.
void cancel(int m, int l, int k, double anorm, const Matrix& a, double* w, double* work) {
  const int nm = l - 1;
  double c = 0.0;
  double s = 1.0;
  for (int i = l; i <= k; ++i) {
    const double f = s * work[i];
    work[i] *= c;
    if (negligible(anorm, f)) break;
    const double g = w[i];
    double h = hypotSafe(f, g);
    w[i] = h;
    h = 1.0 / h;
    c = g * h;
    s = -f * h;
    rotateColumns(a, m, nm, i, c, s);
  }
}

// One implicitly shifted QR pass over the block l .. k of the bidiagonal
// form, the shift taken from its bottom 2 x 2 minor.
void qrPass(int m, int n, int l, int k, const Matrix& a, double* w, const Matrix& v,
            double* work) {
  double x = w[l];
  const int nm = k - 1;
  double y = w[nm];
  double g = work[nm];
  double h = work[k];
  double z = w[k];
  double f = ((y - z) * (y + z) + (g - h) * (g + h)) / (2.0 * h * y);
  g = std::fabs(f) > kShiftRootLimit ? std::fabs(f) : hypotSafe(f, 1.0);
  g = withSignOf(g, f);
  f = ((x - z) * (x + z) + h * ((y / (f + g)) - h)) / x;

  double c = 1.0;
  double s = 1.0;
  for (int j = l; j <= nm; ++j) {
    const int i = j + 1;
    g = work[i];
    y = w[i];
    h = s * g;
    g = c * g;
    z = hypotSafe(f, h);
    work[j] = z;
    if (z != 0.0) {
      const double rz = 1.0 / z;
      c = f * rz;
      s = h * rz;
    } else {
      c = 1.0;
      s = 0.0;
    }
    f = x * c + g * s;
    g = g * c - x * s;
    h = y * s;
    y *= c;
    rotateColumns(v, n, j, i, c, s);
    z = hypotSafe(f, h);
    w[j] = z;
    if (z != 0.0) {
      const double rz = 1.0 / z;
      c = f * rz;
      s = h * rz;
    }
    f = c * g + s * y;
    x = c * y - s * g;
    rotateColumns(a, m, j, i, c, s);
  }
  work[l] = 0.0;
  work[k] = f;
  w[k] = x;
}

// Diagonalises the bidiagonal form, singular value k from n-1 down to 0.
void diagonalise(int m, int n, double anorm, const Matrix& a, double* w, const Matrix& v,
                 double* work, int& status) {
  for (int k = n - 1; k >= 0; --k) {
    for (int pass = 1; pass <= kMaxQrPasses; ++pass) {
      // Look for a split: a negligible super-diagonal work[l], or a
      // negligible diagonal w[l-1] whose super-diagonal must be cancelled.
      // work[0] is always zero, so l = 0 ends the search (tested by index
      // as well, so that a NaN in the data cannot walk past the array).
      int l = k;
      bool splitAtWork = false;
      for (; l >= 0; --l) {
        if (l == 0 || negligible(anorm, work[l])) {
          splitAtWork = true;
          break;
        }
        if (negligible(anorm, w[l - 1])) break;
      }
      if (!splitAtWork) cancel(m, l, k, anorm, a, w, work);

      const double z = w[k];
      if (l == k) {
        // Converged: make the singular value non-negative.
        if (z < 0.0) {
          w[k] = -z;
          for (int r = 0; r < n; ++r) v(r, k) = -v(r, k);
        }
        break;
      }
      if (pass >= kMaxQrPasses) status = k + 1;
      qrPass(m, n, l, k, a, w, v, work);
    }
  }
}

}  // namespace

double hypotSafe(double a, double b) {
  const double x = std::fabs(a);
  const double y = std::fabs(b);
  const double big = x > y ? x : y;
  const double small = x > y ? y : x;
  if (big == 0.0) return 0.0;
  const double ratio = small / big;
  return big * std::sqrt(ratio * ratio + 1.0);
}

void svdDecompose(int m, int n, int mp, int np, double* a, double* w, double* v, double* work,
                  int& status) {
  if (badShape(m, n, mp, np)) {
    status = -1;
    return;
  }
  status = 0;
  const Matrix am(a, np);
  const Matrix vm(v, np);
  double g = 0.0;
  const double anorm = bidiagonalise(m, n, am, w, work, g);
  accumulateRight(n, am, vm, work, g);
  accumulateLeft(m, n, am, w);
  diagonalise(m, n, anorm, am, w, vm, work, status);
}

void svdSolve(int m, int n, int mp, int np, const double* b, const double* u, const double* w,
              const double* v, double* work, double* x) {
  if (badShape(m, n, mp, np)) return;
  for (int j = 0; j < n; ++j) {
    double s = 0.0;
    if (w[j] != 0.0) {
      for (int i = 0; i < m; ++i) s += u[i * np + j] * b[i];
      s /= w[j];
    }
    work[j] = s;
  }
  for (int j = 0; j < n; ++j) {
    double s = 0.0;
    for (int jj = 0; jj < n; ++jj) s += v[j * np + jj] * work[jj];
    x[j] = s;
  }
}

void svdCovariance(int n, int np, int nc, const double* w, const double* v, double* work,
                   double* cvm) {
  for (int i = 0; i < n; ++i) work[i] = w[i] != 0.0 ? 1.0 / (w[i] * w[i]) : 0.0;
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j <= i; ++j) {
      double s = 0.0;
      for (int k = 0; k < n; ++k) s += v[i * np + k] * v[j * np + k] * work[k];
      cvm[i * nc + j] = s;
      cvm[j * nc + i] = s;
    }
  }
}

namespace svd_steps {

void accumulateRight(int n, const double* a, int na, double* v, int nv, const double* work,
                     double g) {
  zenfit::accumulateRight(n, Matrix(const_cast<double*>(a), na), Matrix(v, nv), work, g);
}

void diagonalise(int m, int n, double anorm, double* u, int nu, double* w, double* v, int nv,
                 double* work, int& status) {
  zenfit::diagonalise(m, n, anorm, Matrix(u, nu), w, Matrix(v, nv), work, status);
}

}  // namespace svd_steps
}  // namespace zenfit
