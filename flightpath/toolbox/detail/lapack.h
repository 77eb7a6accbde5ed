#pragma once

#include <complex>
#include <cstdint>

#include "flightpath/runtime/complex.h"

/// The library's calls into LAPACK, all of them. `lapack.cpp` alone includes its header.
///
/// Matrices are n x n, column-major, leading dimension n > 0. Every function returns LAPACK's info.
namespace flightpath::lapack {

/// Eigenvectors (in place of the matrix, whose lower triangle is read) and ascending eigenvalues of
/// a Hermitian matrix.
///
/// In double it has work space of its own. Errors: std::bad_alloc.
int hermitianEigen(std::int32_t n, creal32_T* A, float* eigenvalues);
int hermitianEigen(std::int32_t n, std::complex<double>* A, double* eigenvalues);

/// Eigenvalues and right eigenvectors of a general matrix, balanced by permuting and scaling.
///
/// A      destroyed
/// scale  work space of n
int generalEigen(std::int32_t n, creal32_T* A, creal32_T* eigenvalues, creal32_T* eigenvectors,
                 float* scale);

/// The lower Cholesky factor, in place of the lower triangle. Positive: the matrix is numerically not
/// positive definite.
int choleskyFactor(std::int32_t n, double* A);

/// Eigenvectors (in place of the matrix) and ascending eigenvalues of a real symmetric matrix.
///
/// work  3 n
int symmetricEigen(std::int32_t n, double* A, double* eigenvalues, double* work);

/// The steps of the same for some eigenvectors only. Every work space is `tridiagonalWork` per row.
constexpr std::int32_t tridiagonalWork = 32;

/// A := Q T Q^T, T tridiagonal with this diagonal (n) and off-diagonal (n - 1) and Q as reflections, in
/// the lower triangle of A and in tau (n - 1).
int tridiagonalise(std::int32_t n, double* A, double* diagonal, double* offDiagonal, double* tau,
                   double* work);

/// All eigenvalues, ascending, in place of the diagonal; the off-diagonal is destroyed.
int tridiagonalEigenvalues(std::int32_t n, double* diagonal, double* offDiagonal);

/// The eigenvectors of T, n x count, that belong to these eigenvalues, ascending. No element of the
/// off-diagonal may be zero.
///
/// whole  work space of 4 n
int tridiagonalEigenvectors(std::int32_t n, const double* diagonal, const double* offDiagonal,
                            std::int32_t count, const double* eigenvalues, double* vectors,
                            double* work, std::int32_t* whole);

/// vectors := Q vectors, n x count.
int applyReflections(std::int32_t n, const double* A, const double* tau, std::int32_t count,
                     double* vectors, double* work);

}  // namespace flightpath::lapack
