#pragma once

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"
#include "flightpath/runtime/export.h"

/// Steering vectors of uniformly spaced elements (subcarriers or sensors).
///
///   A(k, j) = exp(+i 2 pi k f_j),   k = 0 ... M - 1
///
/// numElements  M, truncated; negative or NaN: 0. A non-integral one puts the last element at
///              numElements - 1
/// freqs        normalised frequencies in cycles per element: a row (its second extent counts) or a
///              column. A non-finite one makes its column NaN
/// A            (out) M x F, one steering vector per column
///
/// Errors: std::length_error where M, or M x F, passes 2147483647.
FLIGHTPATH_API void makeUniformSteeringVectors(double numElements,
                                               const coder::array<float, 2>& freqs,
                                               coder::array<creal32_T, 2>& A);
FLIGHTPATH_API void makeUniformSteeringVectors(double numElements,
                                               const coder::array<float, 1>& freqs,
                                               coder::array<creal32_T, 2>& A);

namespace coder {

/// Complex exponential of every element, in place, in single precision.
///
///   re = 0                     (cos im, sin im)
///   im = 0                     (exp re, 0)
///   im infinite and re = -inf  (0, 0)
///   otherwise                  e = exp(re / 2), applied twice: ((cos im e) e, (sin im e) e), so
///                              that exp(re) does not overflow before the product
FLIGHTPATH_API void b_exp(array<creal32_T, 2>& x);

}  // namespace coder
