#include "flightpath/ranging/detail/row_samples.h"

#include <algorithm>
#include <cmath>

namespace flightpath {
namespace {

/// Parts of a row: complex samples, real part first.
template <class Real>
void gather(const Real* samples, std::span<const std::size_t> positions, std::span<double> re,
            std::span<double> im) {
  for (std::size_t i = 0; i < positions.size(); ++i) {
    re[i] = static_cast<double>(samples[2 * positions[i]]);
    im[i] = static_cast<double>(samples[2 * positions[i] + 1]);
  }
}

double largestMagnitude(std::span<const double> parts) {
  double largest = 0.0;
  for (const double part : parts) {
    largest = std::isfinite(part) ? std::max(largest, std::fabs(part)) : largest;
  }
  return largest;
}

}  // namespace

void readRow(const CsiRows& rows, std::size_t row, std::span<const std::size_t> positions,
             std::span<double> re, std::span<double> im) {
  const std::size_t from = 2 * row * rows.rowStride();
  if (rows.precision() == CsiRows::Precision::Single) {
    gather(static_cast<const float*>(rows.data()) + from, positions, re, im);
  } else {
    gather(static_cast<const double*>(rows.data()) + from, positions, re, im);
  }
}

double powerOfTwoScale(std::span<const double> re, std::span<const double> im) {
  constexpr int largestExponent = 1000;
  int exponent = 0;
  std::frexp(std::max(largestMagnitude(re), largestMagnitude(im)), &exponent);
  return std::ldexp(1.0, std::min(1 - exponent, largestExponent));
}

void multiplyBy(double factor, std::span<double> re, std::span<double> im) {
  for (const std::span<double> parts : {re, im}) {
    std::ranges::for_each(parts, [factor](double& part) { part *= factor; });
  }
}

}  // namespace flightpath
