#include "flightpath/rules/phase_slope.h"

#include <math.h>

#include <cmath>
#include <cstdint>

#include "flightpath/runtime/detail/complex_math.h"
#include "flightpath/runtime/detail/view.h"
#include "flightpath/runtime/nonfinite.h"
#include "flightpath/toolbox/reductions.h"

namespace flightpath {
namespace {

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

float phaseSlopeFrequency(std::span<const creal32_T> x, coder::array<float, 1>& steps) {
  constexpr float twoPi = 6.2831855F;
  steps.set_size(x.empty() ? 0 : static_cast<std::int32_t>(x.size()) - 1);
  for (std::int32_t k = 0; k < steps.numel; ++k) {
    const auto at = static_cast<std::size_t>(k);
    steps[k] = angle(timesConjugate(x[at + 1], x[at]));
  }
  const float total = coder::blockedSummation(steps, steps.numel);
  return -(total / static_cast<float>(steps.numel)) / twoPi;
}

float phaseSlopeFrequency(const coder::array<creal32_T, 1>& x) {
  coder::array<float, 1> steps;
  return phaseSlopeFrequency(elements(x), steps);
}

}  // namespace flightpath
