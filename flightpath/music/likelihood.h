#pragma once

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/export.h"

namespace coder::phased::internal {

/// Log-likelihood term of the signal-count criterion for k signals.
///
///   Ld = (M - k) log((arithmetic mean) / (geometric mean)) of the M - k weakest eigenvalues
///
/// k       candidate count, a whole number; limited to 0 from below
/// lambda  eigenvalues in descending order
/// M       how many of them take part, a whole number; limited to the length of lambda
/// returns the term in single precision. For k + 1 > M the formula stands with a sum of 0 and a
///         product of 1
///
/// The geometric mean is the product of the (M - k)-th roots, left to right, so that it cannot
/// overflow; the sum is blocked. One snapshot is assumed, also for a smoothed covariance.
///
/// Source: M. Wax and T. Kailath, Detection of signals by information theoretic criteria, IEEE
/// Trans. Acoust., Speech, Signal Process. 33(2), 1985.
FLIGHTPATH_API float Ld(double k, const array<float, 1>& lambda, double M);

}  // namespace coder::phased::internal
