#include "flightpath/ranging/detail/sample_block.h"

#include <algorithm>
#include <cmath>

#include "flightpath/ranging/detail/phase_only.h"

namespace flightpath {
namespace {

/// Parts of a row: n complex samples, real part first.
template <class Real>
void copyParts(const Real* samples, std::size_t n, double* re, double* im) {
  for (std::size_t k = 0; k < n; ++k) {
    re[k] = static_cast<double>(samples[2 * k]);
    im[k] = static_cast<double>(samples[2 * k + 1]);
  }
}

bool allFinite(std::span<const double> parts) {
  return std::ranges::all_of(parts, [](double part) { return std::isfinite(part); });
}

double largestMagnitude(std::span<const double> parts) {
  double largest = 0.0;
  for (const double part : parts) {
    largest = std::max(largest, std::fabs(part));
  }
  return largest;
}

/// What brings numbers of this magnitude to within 1 ... 2, or as near as a double can scale in one
/// step: double subnormals come to some 2^-74, which is near enough.
double powerOfTwoScale(double largest) {
  constexpr int largestExponent = 1000;
  int exponent = 0;
  std::frexp(largest, &exponent);
  return std::ldexp(1.0, std::min(1 - exponent, largestExponent));
}

}  // namespace

SampleBlock::SampleBlock(int N, int numRows)
    : N_(static_cast<std::size_t>(N)),
      numRows_(numRows),
      re_(N_ * static_cast<std::size_t>(numRows)),
      im_(re_.size()) {}

bool SampleBlock::take(const CsiRows& rows, std::size_t first) {
  for (std::size_t row = 0; row < static_cast<std::size_t>(numRows_); ++row) {
    const std::size_t from = 2 * (first + row) * rows.rowStride();
    double* const re = re_.data() + row * N_;
    double* const im = im_.data() + row * N_;
    if (rows.precision() == CsiRows::Precision::Single) {
      copyParts(static_cast<const float*>(rows.data()) + from, N_, re, im);
    } else {
      copyParts(static_cast<const double*>(rows.data()) + from, N_, re, im);
    }
  }
  if (!allFinite(re_) || !allFinite(im_)) {
    return false;
  }
  scale_ = powerOfTwoScale(std::max(largestMagnitude(re_), largestMagnitude(im_)));
  for (std::vector<double>* const parts : {&re_, &im_}) {
    std::ranges::for_each(*parts, [this](double& part) { part *= scale_; });
  }
  return true;
}

bool SampleBlock::isPhaseOnly() const {
  for (int row = 0; row < numRows_; ++row) {
    if (!flightpath::isPhaseOnly(re(row), im(row))) {
      return false;
    }
  }
  return true;
}

}  // namespace flightpath
