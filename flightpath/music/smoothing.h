#pragma once

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"
#include "flightpath/runtime/export.h"

/// Covariance of one uniformly sampled vector by forward-backward smoothing.
///
///   X(i, j) = x(i + j - 1), L x K:  the subvectors of length L = round(0.75 N), K = N - L + 1
///   F = X X^H / K                   forward average, one BLAS product
///   R = (F + J conj(F) J) / 2       J reverses the order: the backward average joins in
///
/// x  column of N samples
/// R  (out) L x L, Hermitian and persymmetric up to rounding; 0 x 0 for N = 0
///
/// Divisions of a complex by a real value leave a part that is zero out.
///
/// Errors: std::length_error where L x L passes 2147483647, before the data matrix is made.
///
/// Source: S. U. Pillai and B. H. Kwon, Forward/backward spatial smoothing techniques for coherent
/// signal identification, IEEE Trans. Acoust., Speech, Signal Process. 37(1), 1989.
FLIGHTPATH_API void measurementSmoothing(const coder::array<creal32_T, 1>& x,
                                         coder::array<creal32_T, 2>& R);
