#pragma once

#include "flightpath/runtime/array.h"

namespace flightpath {

/// The frequency axis of `evaluatePseudoSpectrumFFT`: floor(n) normalised frequencies, centred.
void fftFrequencies(double n, coder::array<float, 1>& freqs);

}  // namespace flightpath
