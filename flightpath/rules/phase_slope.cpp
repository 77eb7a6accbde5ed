#include "flightpath/rules/phase_slope.h"

#include <math.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

#include "flightpath/runtime/detail/complex_math.h"
#include "flightpath/runtime/detail/view.h"
#include "flightpath/runtime/nonfinite.h"
#include "flightpath/toolbox/reductions.h"

namespace flightpath {
namespace {

constexpr float twoPi = 6.2831855F;

float signOf(float value) { return value > 0.0F ? 1.0F : -1.0F; }

float angleOfImaginary(float im) {
  constexpr float halfPi = 1.5707964F;
  if (im == 0.0F) {
    return 0.0F;
  }
  return im > 0.0F ? halfPi : -halfPi;
}

}  // namespace

float angle(creal32_T z) {
  if (std::isnan(z.re) || std::isnan(z.im)) {
    return rtNaNF;
  }
  if (std::isinf(z.re) && std::isinf(z.im)) {
    return ::atan2f(signOf(z.im), signOf(z.re));
  }
  if (z.re == 0.0F) {
    return angleOfImaginary(z.im);
  }
  return ::atan2f(z.im, z.re);
}

float phaseSlopeFrequency(std::span<const creal32_T> steps, coder::array<float, 1>& angles) {
  angles.set_size(static_cast<std::int32_t>(steps.size()));
  std::ranges::transform(steps, angles.begin(), angle);
  const float total = coder::blockedSummation(angles, angles.numel);
  return -(total / static_cast<float>(angles.numel)) / twoPi;
}

float phaseSlopeFrequency(const coder::array<creal32_T, 1>& x) {
  coder::array<creal32_T, 1> steps;
  steps.set_size(std::max(x.numel - 1, 0));
  for (std::int32_t k = 0; k < steps.numel; ++k) {
    steps[k] = timesConjugate(x[k + 1], x[k]);
  }
  coder::array<float, 1> angles;
  return phaseSlopeFrequency(elements(std::as_const(steps)), angles);
}

}  // namespace flightpath
