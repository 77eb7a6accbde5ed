#include "flightpath/toolbox/grids.h"

#include <cmath>
#include <cstdint>

#include "flightpath/runtime/detail/conversion.h"

namespace {

/// 2k - N - 1 for the 0-based position i = k - 1: how many half steps i lies from the middle.
std::int64_t halfStepsFromMiddle(std::int32_t i, std::int32_t n) {
  return 2 * static_cast<std::int64_t>(i) + 1 - n;
}

/// The grid from -d2 to d2. From 0 to 0 it is zeros, negative ones before the middle.
template <class Real>
void fillSymmetric(Real d2, coder::array<Real, 2>& y) {
  const std::int32_t n = y.numel;
  const Real delta = d2 / static_cast<Real>(n - 1);
  for (std::int32_t i = 1; i < n - 1; ++i) {
    y[i] = static_cast<Real>(halfStepsFromMiddle(i, n)) * delta;
  }
  if (n % 2 == 1) {
    y[n / 2] = 0;
  }
}

void fillWithoutDifference(float d1, float d2, coder::array<float, 2>& y) {
  const std::int32_t n = y.numel;
  const auto delta1 = static_cast<float>(d1 / static_cast<double>(n - 1));
  const auto delta2 = static_cast<float>(d2 / static_cast<double>(n - 1));
  for (std::int32_t i = 1; i < n - 1; ++i) {
    const auto steps = static_cast<float>(i);
    y[i] = d1 + steps * delta2 - steps * delta1;
  }
}

void fillFromFirst(float d1, float d2, coder::array<float, 2>& y) {
  const std::int32_t n = y.numel;
  const float delta = (d2 - d1) / static_cast<float>(n - 1);
  for (std::int32_t i = 1; i < n - 1; ++i) {
    y[i] = static_cast<float>(i) * delta + d1;
  }
}

/// Whether d2 - d1 can leave the range of float: opposite signs, one of them in its upper half.
bool differenceMayOverflow(float d1, float d2) {
  constexpr float halfOfLargest = 1.7014117e38F;
  return (d1 < 0.0F) != (d2 < 0.0F) &&
         (std::fabs(d1) > halfOfLargest || std::fabs(d2) > halfOfLargest);
}

void fillFromZero(double d2, coder::array<double, 2>& y) {
  const std::int32_t n = y.numel;
  const double delta = d2 / static_cast<double>(n - 1);
  for (std::int32_t i = 1; i < n - 1; ++i) {
    y[i] = static_cast<double>(i) * delta;
  }
}

}  // namespace

namespace coder {

void linspace(float d1, float d2, float n, array<float, 2>& y) {
  const std::int32_t numPoints = flightpath::toElementCount(n, "coder::linspace");
  y.set_size(1, numPoints);
  if (numPoints >= 1) {
    y[numPoints - 1] = d2;
  }
  if (numPoints >= 2) {
    y[0] = d1;
  }
  if (numPoints <= 2) {
    return;
  }
  if (d1 == -d2) {
    fillSymmetric(d2, y);
  } else if (differenceMayOverflow(d1, d2)) {
    fillWithoutDifference(d1, d2, y);
  } else {
    fillFromFirst(d1, d2, y);
  }
}

void linspace(double d2, double n, array<double, 2>& y) {
  if (!(n >= 0.0)) {
    return;
  }
  const std::int32_t numPoints = flightpath::toElementCount(n, "coder::linspace");
  y.set_size(1, numPoints);
  if (numPoints >= 1) {
    y[numPoints - 1] = d2;
  }
  if (numPoints >= 2) {
    y[0] = 0.0;
  }
  if (numPoints <= 2) {
    return;
  }
  if (d2 == 0.0) {
    fillSymmetric(d2, y);
  } else {
    // A d2 below minus half the largest double needs no branch of its own: from a start of 0 the
    // overflow-safe form has the same two operations, the quotient and the product.
    fillFromZero(d2, y);
  }
}

}  // namespace coder
