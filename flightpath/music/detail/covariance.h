#pragma once

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"

namespace flightpath {

/// Covariance of one measurement, exactly Hermitian for finite data.
///
///   uniformlySampled: forward-backward smoothing, L x L; otherwise the outer product x x^H, N x N
///   then A = (R + R^H) / 2
void sampleCovariance(const coder::array<creal32_T, 1>& x, bool uniformlySampled,
                      coder::array<creal32_T, 2>& A);

}  // namespace flightpath
