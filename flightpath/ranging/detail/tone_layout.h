#pragma once

#include <cstdint>
#include <vector>

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

/// Which tones of a row count, and how much: those that the options state, or 0 ... N - 1, but for the ones
/// that a calibration lacks.
///
/// weights  one per index, the user's times the calibration's; empty: all alike
struct MeasuredTones {
  std::vector<int> indices;
  std::vector<double> weights;
};

/// Errors: std::invalid_argument, naming the position, where the options' tones or weights are not what
/// `RangingOptions` says, and where they are not one per sample of a row; where the calibration is of
/// another spacing, other tones or rows of another length.
MeasuredTones measuredTones(std::uint32_t numSubcarriers, const RangingOptions& options);

ToneLayout layoutOf(const MeasuredTones& measured);

/// The distance that belongs to one over the extent of the tones: `RangingContext::ResolutionCell_m`.
double resolutionCell_m(const ToneLayout& layout, const RangingOptions& options);

}  // namespace flightpath
