#pragma once

#include <span>

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"

namespace flightpath {

/// `evaluatePseudoSpectrum` over any stretch of frequencies.
void steeringSpectrum(const coder::array<creal32_T, 2>& noiseSubspace, std::span<const float> freqs,
                      coder::array<float, 1>& spectrum);

}  // namespace flightpath
