#pragma once

#include <span>

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"

namespace flightpath {

/// `makeUniformSteeringVectors` over any stretch of frequencies.
void steeringVectors(double numElements, std::span<const float> freqs,
                     coder::array<creal32_T, 2>& A);

}  // namespace flightpath
