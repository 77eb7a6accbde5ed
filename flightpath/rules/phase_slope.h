#pragma once

#include <span>

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"

namespace flightpath {

/// Normalised frequency of a single path, in closed form: the mean phase step, negated.
///
///   f = -(sum over k of angle(conj(x(k)) x(k + 1)) / (N - 1)) / 2 pi
///
/// x      samples
/// steps  work space, overwritten with the phase steps
///
/// NaN for fewer than two samples.
float phaseSlopeFrequency(std::span<const creal32_T> x, coder::array<float, 1>& steps);
float phaseSlopeFrequency(const coder::array<creal32_T, 1>& x);

/// The angle of z in [-pi, pi]: NaN for a NaN part; by the signs alone where both parts are
/// infinite; exactly +-pi/2, or 0, where the real part is zero.
float angle(creal32_T z);

}  // namespace flightpath
