#pragma once

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"

namespace fuzz {

/// The signal count put together once more from the exported smoothing, decomposition and likelihood,
/// in plain loops and single precision: the same bits as determineNumSignals.
///
/// eigenvectors  (out) all of them, strongest first
float plainSignalCount(const coder::array<creal32_T, 1>& x, bool smoothed,
                       coder::array<creal32_T, 2>& eigenvectors);

}  // namespace fuzz
