// Singular value decomposition and the least-squares solution built on it.
//
// Golub, G.H. & Reinsch, C., "Singular value decomposition and least
// squares solutions", Numer. Math. 14, 403-420 (1970): Householder
// reduction to bidiagonal form followed by implicitly shifted QR.
//
// Matrices are dense arrays of doubles stored row by row with a declared
// row length that may exceed the logical number of columns: element (i, j)
// of a matrix with row length np is at i * np + j. The caller owns every
// array; nothing is allocated and nothing is printed.
#pragma once

namespace zenfit {

// Decomposes the m x n matrix a (declared mp x np) as U diag(w) V^T.
//
// On return a holds U (m x n, orthonormal columns), w the n singular values
// (non-negative, in no particular order) and v the n x n orthogonal matrix V
// itself (row length np). work is n doubles of scratch.
//
// status: 0 success; -1 when m < n, m > mp or n > np (then nothing at all is
// written but status); k > 0 when the QR iteration for singular value k
// (counted from 1) did not converge in 30 passes. The decomposition is
// still completed then, and with several failures the lowest k is reported.
void svdDecompose(int m, int n, int mp, int np, double* a, double* w, double* v, double* work,
                  int& status);

// Least-squares solution x (n doubles) of A x = b (m doubles) from the
// decomposition: x = V diag(1/w) U^T b, where a zero w drops its direction.
// u and v are as left by svdDecompose (row length np). work is n doubles of
// scratch. With a bad shape (as above) it returns without writing anything.
void svdSolve(int m, int n, int mp, int np, const double* b, const double* u, const double* w,
              const double* v, double* work, double* x);

// Covariance matrix of the solution, V diag(1/w^2) V^T, that is (A^T A)^-1
// over the retained directions (a zero w contributes nothing), in units of
// the squared scale of b. v has row length np; cvm is n x n with row
// length nc. work is n doubles of scratch.
void svdCovariance(int n, int np, int nc, const double* w, const double* v, double* work,
                   double* cvm);

// sqrt(a^2 + b^2) without destructive overflow or underflow.
double hypotSafe(double a, double b);

}  // namespace zenfit
