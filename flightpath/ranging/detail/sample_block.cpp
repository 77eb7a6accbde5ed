#include "flightpath/ranging/detail/sample_block.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "flightpath/likelihood/complex_products.h"
#include "flightpath/ranging/detail/phase_only.h"
#include "flightpath/ranging/detail/row_samples.h"

namespace flightpath {
namespace {

bool allFinite(std::span<const double> parts) {
  return std::ranges::all_of(parts, [](double part) { return std::isfinite(part); });
}

std::vector<std::size_t> positionsOf(int N, const Calibration& calibration) {
  if (!calibration.empty()) {
    return calibration.positions();
  }
  std::vector<std::size_t> all(static_cast<std::size_t>(N));
  std::iota(all.begin(), all.end(), std::size_t{0});
  return all;
}

}  // namespace

SampleBlock::SampleBlock(int N, int numRows, const Calibration& calibration)
    : positions_(positionsOf(N, calibration)),
      corrections_(calibration.corrections()),
      numRows_(numRows),
      re_(positions_.size() * static_cast<std::size_t>(numRows)),
      im_(re_.size()) {}

bool SampleBlock::take(const CsiRows& rows, std::size_t first) {
  const std::size_t n = positions_.size();
  for (std::size_t row = 0; row < static_cast<std::size_t>(numRows_); ++row) {
    readRow(rows, first + row, positions_, std::span(re_).subspan(row * n, n),
            std::span(im_).subspan(row * n, n));
  }
  if (!allFinite(re_) || !allFinite(im_)) {
    return false;
  }
  scale_ = 1.0;
  rescale();
  markPhaseOnly();  // as it was received: corrections have magnitudes
  if (!corrections_.empty()) {
    correct();  // far from the ends of the range, so that the products are
    rescale();
  }
  return true;
}

void SampleBlock::markPhaseOnly() {
  isPhaseOnly_ = true;
  for (int row = 0; row < numRows_ && isPhaseOnly_; ++row) {
    isPhaseOnly_ = flightpath::isPhaseOnly(re(row), im(row));
  }
}

void SampleBlock::rescale() {
  const double factor = powerOfTwoScale(re_, im_);
  scale_ *= factor;
  multiplyBy(factor, re_, im_);
}

void SampleBlock::correct() {
  const std::size_t n = corrections_.size();
  for (std::size_t i = 0; i < re_.size(); ++i) {
    const Complex corrected = times(corrections_[i % n], {re_[i], im_[i]});
    re_[i] = corrected.real();
    im_[i] = corrected.imag();
  }
}

}  // namespace flightpath
