#include "flightpath/likelihood/tone_set.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <numeric>
#include <stdexcept>
#include <string>

namespace flightpath {
namespace {

constexpr int groupSize = 16;

/// A steering vector's groups and the transforms over the extent grow with this.
constexpr std::int64_t longestExtent = 1 << 20;

[[noreturn]] void refuse(const char* what, std::size_t position) {
  throw std::invalid_argument("Tones: " + std::string(what) + " at position " +
                              std::to_string(position));
}

void check(std::span<const int> tones, std::span<const double> weights) {
  if (tones.empty()) {
    throw std::invalid_argument("Tones: there are none");
  }
  for (std::size_t k = 1; k < tones.size(); ++k) {
    if (tones[k] <= tones[k - 1]) {
      refuse(tones[k] == tones[k - 1] ? "a tone is repeated" : "a tone is out of order", k);
    }
  }
  if (!weights.empty() && weights.size() != tones.size()) {
    throw std::invalid_argument("Weights: there is not one per tone");
  }
  for (std::size_t k = 0; k < weights.size(); ++k) {
    if (!(weights[k] > 0.0) || !std::isfinite(weights[k])) {
      throw std::invalid_argument("Weights: not a finite number above 0 at position " +
                                  std::to_string(k));
    }
  }
}

/// The greatest common divisor of the distances; 1 for a single tone.
std::int64_t commonStride(std::span<const int> tones) {
  std::int64_t stride = 0;
  for (const int tone : tones) {
    stride = std::gcd(stride, std::int64_t{tone} - tones.front());
  }
  return std::max<std::int64_t>(stride, 1);
}

/// exp(-i 2 pi x)
Complex turn(double x) {
  const double angle = -2.0 * std::numbers::pi * (x - std::nearbyint(x));
  return {std::cos(angle), std::sin(angle)};
}

}  // namespace

ToneSet::ToneSet(std::span<const int> tones, std::span<const double> weights) {
  check(tones, weights);
  place(tones);
  weigh(weights);
}

void ToneSet::place(std::span<const int> tones) {
  const std::int64_t stride = commonStride(tones);
  if ((std::int64_t{tones.back()} - tones.front()) / stride >= longestExtent) {
    throw std::invalid_argument("Tones: the first and the last lie more than 2^20 strides apart");
  }
  if (stride > INT32_MAX) {
    throw std::invalid_argument("Tones: the first and the last lie more than 2^31 apart");
  }
  stride_ = static_cast<int>(stride);
  for (const int tone : tones) {
    positions_.push_back(static_cast<int>((std::int64_t{tone} - tones.front()) / stride));
  }
  const double sum = std::accumulate(positions_.begin(), positions_.end(), 0.0);
  const double mean = sum / static_cast<double>(positions_.size());
  int group = -1;
  for (const int position : positions_) {
    centred_.push_back(position - mean);
    if (position / groupSize != group) {
      group = position / groupSize;
      groups_.push_back(group * groupSize - mean);
    }
    groupOf_.push_back(static_cast<int>(groups_.size()) - 1);
  }
  turns_.resize(groups_.size());
}

void ToneSet::weigh(std::span<const double> weights) {
  int exponent = 1;
  if (!weights.empty()) {
    std::frexp(*std::ranges::max_element(weights), &exponent);
  }
  weightScale_ = std::ldexp(1.0, 1 - exponent);
  for (std::size_t k = 0; k < centred_.size(); ++k) {
    const double weight = weights.empty() ? 1.0 : weightScale_ * weights[k];
    roots_.push_back(std::sqrt(weight));
    moments_[0] += weight;
    moments_[1] += weight * centred_[k];
    moments_[2] += weight * centred_[k] * centred_[k];
  }
}

std::size_t ToneSet::transformLength() const {
  constexpr std::size_t pointsPerCell = 4;
  constexpr std::size_t shortest = 32;
  return std::max(shortest, std::bit_ceil(pointsPerCell * static_cast<std::size_t>(extent())));
}

double ToneSet::independentDelays() const {
  const double mean = moments_[1] / moments_[0];
  return std::sqrt(12.0 * std::max(0.0, moments_[2] / moments_[0] - mean * mean));
}

void ToneSet::steer(double f, double* re, double* im) {
  for (std::size_t i = 0; i < groups_.size(); ++i) {
    turns_[i] = turn(f * groups_[i]);
  }
  Complex within[groupSize] = {1.0, turn(f)};
  for (int l = 2; l < groupSize; ++l) {
    within[l] = times(within[l / 2], within[l - l / 2]);
  }
  for (std::size_t k = 0; k < centred_.size(); ++k) {
    const auto group = static_cast<std::size_t>(groupOf_[k]);
    const Complex z = times(turns_[group], within[positions_[k] % groupSize]);
    re[k] = roots_[k] * z.real();
    im[k] = roots_[k] * z.imag();
  }
}

}  // namespace flightpath
