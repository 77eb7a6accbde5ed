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
int choleskyFactor(std::int32_t n, float* A);

/// Eigenvectors (in place of the matrix) and ascending eigenvalues of a real symmetric matrix.
///
/// work  3 n
int symmetricEigen(std::int32_t n, double* A, double* eigenvalues, double* work);

}  // namespace flightpath::lapack
