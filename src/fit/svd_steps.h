// Two steps of svdDecompose (svd.h) on their own, for a caller that
// reduces the matrix to bidiagonal form itself, with exactly the same
// arithmetic, and wants the same singular values and V to the last bit.
// Matrices are row by row with the given row lengths.
#pragma once

namespace zenfit::svd_steps {

// V (n x n, row length nv) from the row transformations that the
// bidiagonal reduction left in the first n rows of a (row length na), its
// super-diagonal in work and its last row transformation's value g.
void accumulateRight(int n, const double* a, int na, double* v, int nv, const double* work,
                     double g);

// Diagonalises the bidiagonal form (w, work), norm anorm, applying every
// left rotation to the m rows of u (row length nu) and every right one to
// v (row length nv). With u holding b^T U as one row, it ends holding
// b^T U of the finished decomposition. status as svdDecompose's.
void diagonalise(int m, int n, double anorm, double* u, int nu, double* w, double* v, int nv,
                 double* work, int& status);

}  // namespace zenfit::svd_steps
