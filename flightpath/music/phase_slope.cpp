#include "flightpath/music/phase_slope.h"

#include <math.h>

#include <algorithm>
#include <cmath>

#include "flightpath/runtime/complex_math.h"
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

float phaseSlopeFrequency(const coder::array<creal32_T, 1>& x) {
  constexpr float twoPi = 6.2831855F;
  coder::array<float, 1> steps;
  steps.set_size(std::max(x.numel - 1, 0));
  std::transform(x.begin(), x.begin() + steps.numel, x.begin() + (x.numel - steps.numel),
                 steps.begin(),
                 [](creal32_T a, creal32_T b) { return angle(timesConjugate(b, a)); });
  const float total = coder::blockedSummation(steps, steps.numel);
  return -(total / static_cast<float>(steps.numel)) / twoPi;
}

}  // namespace flightpath
