#include "flightpath/runtime/scalar.h"

#include <math.h>

#include <cmath>

#include "flightpath/runtime/nonfinite.h"

namespace {

/// Floats of this magnitude and above have no fractional part.
constexpr float firstAllIntegral = 8388608.0F;

bool isIntegral(float value) {
  return std::fabs(value) >= firstAllIntegral || value == std::floor(value);
}

float powToInfinity(float base, float exponent) {
  const float magnitude = std::fabs(base);
  if (magnitude == 1.0F) {
    return 1.0F;
  }
  const bool grows = (magnitude > 1.0F) == (exponent > 0.0F);
  return grows ? rtInfF : 0.0F;
}

}  // namespace

float rt_powf_snf(float u0, float u1) {
  if (std::isnan(u0) || std::isnan(u1)) {
    return rtNaNF;
  }
  if (std::isinf(u1)) {
    return powToInfinity(u0, u1);
  }
  if (u1 == 0.0F) {
    return 1.0F;
  }
  if (u1 == 1.0F) {
    return u0;
  }
  if (u1 == -1.0F) {
    return 1.0F / u0;
  }
  if (u1 == 2.0F) {
    return u0 * u0;
  }
  if (u1 == 0.5F) {
    return u0 >= 0.0F ? std::sqrt(u0) : rtNaNF;
  }
  if (u0 < 0.0F && !isIntegral(u1)) {
    return rtNaNF;
  }
  return ::powf(u0, u1);
}

namespace coder {

float b_log2(float x) {
  constexpr float ln2 = 0.6931472F;
  if (x == 0.0F) {
    return rtMinusInfF;
  }
  if (x < 0.0F) {
    return rtNaNF;
  }
  if (!std::isfinite(x)) {
    return x;
  }
  int e = 0;
  const float f = ::frexpf(x, &e);
  if (f == 0.5F) {
    return static_cast<float>(e - 1);
  }
  if (e == 1 && f < 0.75F) {
    return ::logf(2.0F * f) / ln2;
  }
  return ::logf(f) / ln2 + static_cast<float>(e);
}

}  // namespace coder
