#pragma once

#include <cstdint>

#include "flightpath/ranging/ranging_options.h"

namespace flightpath {

/// How the measured tones lie.
///
/// stride  the greatest common divisor of the distances between their indices
/// extent  from the first to the last, both included, in strides
struct ToneLayout {
  int stride;
  int extent;
  bool isEven;  // no gap but the stride
};

/// The tones that the options state, or 0 ... N - 1.
std::vector<int> measuredTones(std::uint32_t numSubcarriers, const RangingOptions& options);

/// Errors: std::invalid_argument, naming the position, where the options' tones or weights are not what
/// `RangingOptions` says, and where they are not one per sample of a row.
ToneLayout layoutOf(std::uint32_t numSubcarriers, const RangingOptions& options);

}  // namespace flightpath
