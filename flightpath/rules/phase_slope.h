#pragma once

#include <span>

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"

namespace flightpath {

/// Normalised frequency of a single path, in closed form: the mean phase step, negated.
///
///   f = -(sum over k of angle(step(k)) / (N - 1)) / 2 pi,   step(k) = x(k + 1) conj(x(k))
///
/// steps   N - 1 products of neighbouring samples; sums of them, where several rows share the path
/// angles  work space, overwritten with their angles
///
/// NaN where there is no step.
float phaseSlopeFrequency(std::span<const creal32_T> steps, coder::array<float, 1>& angles);

/// The same, from the samples x.
float phaseSlopeFrequency(const coder::array<creal32_T, 1>& x);

/// The angle of z in [-pi, pi]: NaN for a NaN part; by the signs alone where both parts are
/// infinite; exactly +-pi/2, or 0, where the real part is zero.
float angle(creal32_T z);

}  // namespace flightpath
