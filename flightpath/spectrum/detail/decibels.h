#pragma once

#include <math.h>

#include <cmath>

namespace flightpath {

/// 10 log10(power).
inline double decibels(double power) { return 10.0 * std::log10(power); }

/// The pseudo-spectrum where this much energy of a steering vector lies in the noise subspace:
/// 20 log10(1 / noiseEnergy + 2^-52), the reciprocal first.
inline float pseudoSpectrumDecibels(float noiseEnergy) {
  constexpr float epsilon = 2.220446e-16F;  // 2^-52
  return 20.0F * ::log10f(1.0F / noiseEnergy + epsilon);
}

}  // namespace flightpath
