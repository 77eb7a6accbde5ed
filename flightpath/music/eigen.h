#pragma once

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"
#include "flightpath/runtime/export.h"

namespace coder {

/// Eigenvalues and right eigenvectors of a square complex matrix.
///
/// A  n x n, unchanged; not the array V
/// V  (out) n x n, one eigenvector per column, of unit norm
/// d  (out) n eigenvalues, d(k) belongs to column k of V. A matrix that equals its conjugate
///    transpose exactly is solved as Hermitian: d is real and ascending. One that equals its
///    negative conjugate transpose exactly is solved as Hermitian after multiplication by i
///
/// A matrix with a NaN or infinite part, or that is not square, gives NaN + 0i everywhere, n being
/// its number of rows; so does a solver that refuses an argument or gets no memory, with 0 + i NaN as
/// the eigenvalues of the second kind. A solver that does not converge is not noticed. An empty matrix
/// gives empty results.
///
/// Errors: std::length_error where n x n passes 2147483647.
FLIGHTPATH_API void eig(const array<creal32_T, 2>& A, array<creal32_T, 2>& V,
                        array<creal32_T, 1>& d);

namespace internal::lapack {

/// Eigenvalues and eigenvectors of a Hermitian matrix, from its lower triangle.
///
/// A  n x n; (out) the orthonormal eigenvectors as columns
/// W  (out) n eigenvalues, ascending
/// returns LAPACK's info: 0 for success or an empty matrix (no call); negative for an argument it
/// refuses, then A and W are NaN; positive where it did not converge, then A and W are what it
/// left. A matrix that is not square gives NaN and -1 without a call.
FLIGHTPATH_API int xsyheev(array<creal32_T, 2>& A, array<float, 1>& W);

}  // namespace internal::lapack
}  // namespace coder
