#pragma once

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"

namespace flightpath {

/// The signal subspace is the first floor(s) eigenvectors, the noise subspace those from column
/// floor(s + 1) on, s being any float that a caller forced: counts are limited to what there is,
/// NaN reads as 0.

/// noise := the noise eigenvectors, conjugated; M x 0 for s + 1 > M.
void noiseSubspace(const coder::array<creal32_T, 2>& eigenvectors, float numSignals,
                   coder::array<creal32_T, 2>& noise);

/// Cuts the eigenvectors down to the signal subspace, in place.
void keepSignalSubspace(coder::array<creal32_T, 2>& eigenvectors, float numSignals);

}  // namespace flightpath
