#pragma once

/// Real linear algebra in plain loops, for matrices so small that a call into a library costs as much
/// as its work. Matrices are column-major without gaps.
namespace flightpath::plain {

/// The largest order that `symmetricEigen` has room for.
constexpr int mostEigen = 12;

/// The sum of a(i) b(i).
double dot(const double* a, const double* b, int n);

/// C := A B, with A m x k, B k x n and C m x n, four columns of A at a time.
void multiply(int m, int n, int k, const double* A, const double* B, double* C);

/// The lower Cholesky factor, in place of the lower triangle. Column by column: what the finished columns
/// contribute, then the root of the pivot. False: a pivot is not above 0.
bool choleskyFactor(int n, double* A);

/// Eigenvectors (in place of the n x n matrix, n <= mostEigen) and ascending eigenvalues of a symmetric
/// matrix, by cyclic Jacobi rotations: quick where the matrix is nearly diagonal, as the projection
/// onto vectors that have all but converged is.
///
/// Source: G. H. Golub, C. F. Van Loan, Matrix Computations, section 8.5.
void symmetricEigen(int n, double* A, double* eigenvalues);

}  // namespace flightpath::plain
