// FIT's least-squares solution, from its design matrix to the changes, the
// singular values it kept and the covariance matrix: the same answers as
// svdDecompose, FIT's editing of the singular values, svdSolve and
// svdCovariance, by a faster route.
//
// The route. svdDecompose (Golub & Reinsch 1970) reduces A (m x n) to
// bidiagonal form by Householder transformations, forms U (m x n) from the
// left ones and V from the right ones, and diagonalises by QR sweeps that
// rotate U's m rows and V's n rows; svdSolve then forms U^T b. Here:
//  - the reduction makes the same operations on the same numbers, but
//    streams A row by row: each step reads the rows once for the inner
//    products of the column transformation and once more to apply it and
//    the row transformation together, where svdDecompose walks down two
//    columns (a cache line for each element) twice for every column and
//    applies the two transformations in separate sweeps. Every sum is
//    taken over the same terms in the same order, so every element of the
//    bidiagonal form and of the stored transformations comes out the same
//    to the last bit;
//  - V is formed and the bidiagonal form diagonalised by svdDecompose's
//    own steps (svd_steps.h), so the singular values, V and the status are
//    those of svdDecompose bit for bit;
//  - U is never formed. The column transformations are applied to b as
//    they are made and the rotations of every QR sweep to the n-vector
//    U^T b (Lawson & Hanson, Solving Least Squares Problems, 1974, ch. 18;
//    LAPACK's dgelss hands b to its QR sweeps in the same way), which saves
//    the 2mn^2 operations of forming U and the 6m of every rotation of its
//    rows.
//
// Why the answers are the same: the singular values before and after
// editing, what the editing did (the values zeroed, the ratios kept), the
// covariance V diag(1/w^2) V^T and the status are identical to the
// straightforward path's, bit for bit. Only U^T b is summed in another
// order (the transformations applied one after another instead of through
// U), so the solution V diag(1/w) U^T b agrees to rounding error times the
// condition of the retained part, which FITTOL bounds (1/FITTOL: 100 by
// default).
//
// The reduction costs 4mn^2 operations, as in svdDecompose. A Householder
// QR of A followed by the decomposition of the small R costs half that
// (Chan, ACM TOMS 8, 1982) and agrees to rounding error, but its singular
// values differ from svdDecompose's in the last bits, so a value that is
// zero in exact arithmetic (two identical columns) is reported as a
// different rounding-level ratio; this route keeps FIT's report the same.
//
// Pure functions over memory the caller and the object own: no globals,
// nothing shared, nothing allocated. One object per thread.
#pragma once

namespace zenfit {

// What FIT's editing of the singular values did.
struct SingularValueEditing {
  bool zeroed = false;         // at least one singular value was set to zero
  double smallestRatio = 0.0;  // the smallest and largest ratio to the largest
  double largestRatio = 0.0;   // singular value among those zeroed
};

// Zeroes the singular values w[0 .. n-1] whose ratio to the largest is below
// tolerance, as FIT does; nothing when the largest is not positive. The
// smallest ratio starts from the largest value itself and the largest from
// 0, so with nothing zeroed they stay as they started.
SingularValueEditing editSingularValues(double* w, int n, double tolerance);

class LeastSquares {
 public:
  static constexpr int kMaxColumns = 49;  // the most coefficients FIT fits at once

  // Solves A x = b in the least-squares sense, where a is m x n stored row
  // by row with row length np (declared mp x np, as svdDecompose takes it)
  // and b has m elements; tolerance is FITTOL. Both are overwritten: a with
  // the Householder vectors of the bidiagonal reduction (not with U), b
  // with those of its transformations applied (its first n elements become
  // U^T b).
  //
  // Returns the status svdDecompose gives: 0 success; -1 when m < n,
  // m > mp, n > np or n > kMaxColumns (then nothing at all is written); k > 0
  // when the QR iteration for singular value k did not converge in 30
  // passes (then only the singular values are set, as the decomposition
  // left them, and nothing is solved).
  int solve(int m, int n, int mp, int np, double* a, double* b, double tolerance);

  // After solve: the n singular values as decomposed (unsorted,
  // non-negative), the same after editing, what the editing did, the
  // solution x (n) and the covariance (A^T A)^-1 over the retained
  // directions, n x n with row length n, in units of b squared.
  const double* singularValues() const { return w_; }
  const double* editedSingularValues() const { return edited_; }
  const SingularValueEditing& editing() const { return editing_; }
  const double* solution() const { return x_; }
  const double* covariance() const { return covariance_; }

  // The reduction runs with AVX2 where the processor has it, to the same
  // results; false keeps it on the baseline instructions (for the tests
  // that compare the two).
  void useWideVectors(bool on) { wide_ = on; }

 private:
  // The bidiagonal reduction of a, applying the column transformations to
  // b as well; returns the norm of the bidiagonal form and leaves in g the
  // last row transformation's value, as svdDecompose's reduction does.
  double bidiagonalise(int m, int n, int np, double* a, double* b, double& g);

  bool wide_ = true;
  SingularValueEditing editing_;
  double dots_[kMaxColumns];  // inner products, then multipliers, of a column transformation
  double utb_[kMaxColumns];   // U^T b
  double w_[kMaxColumns];
  double edited_[kMaxColumns];
  double work_[kMaxColumns];  // the super-diagonal, then scratch
  double v_[kMaxColumns * kMaxColumns];
  double x_[kMaxColumns];
  double covariance_[kMaxColumns * kMaxColumns];
};

}  // namespace zenfit
