#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "flightpath/ranging/calibration.h"

namespace flightpath {

/// The settings of a `LineOfSight`, fixed when it is made.
///
/// SubcarrierSpacing     hertz from one index to the next, finite and above 0
/// SnapshotsPerEstimate  how many consecutive rows share delay and profile and give one answer (antennas,
///                       packets in quick succession), 1 ... 65535
/// Threads               how many work on a batch, at most 1024; 0: one per core
/// Tones, Weights,       as in `RangingOptions`; at least 4 tones, the last less than 2^16 times the greatest
/// Calibration           common divisor of their distances from the first
/// RoundTrip             as in `RangingOptions`: the delay of the samples is twice that of the distance
/// AcceptPhaseOnly       whether to answer where the samples carry phase alone, without magnitudes. With more
///                       than one path such samples have ghosts before the first: refused, unless asked for
/// EarliestDistance      the window of answers, in metres, as in `RangingOptions`. Without one, half the
/// LatestDistance        unambiguous range to either side of zero. A window is at least a billionth of
///                       the range wide, and at most 65536 ranges from zero
/// LongestDecay          seconds, finite and above 0: the longest decay of a tail that is considered.
///                       100 ns suits homes, offices and halls
/// IntervalLevel         above 0 and below 1: the probability with which the interval of an answer holds
///                       the true distance
struct LineOfSightOptions {
  double SubcarrierSpacing = 0;
  std::uint32_t SnapshotsPerEstimate = 1;
  unsigned Threads = 1;
  std::vector<int> Tones;
  std::vector<double> Weights;
  flightpath::Calibration Calibration;
  bool RoundTrip = false;
  bool AcceptPhaseOnly = false;
  std::optional<double> EarliestDistance;
  std::optional<double> LatestDistance;
  double LongestDecay = 100e-9;
  double IntervalLevel = 0.9545;
};

}  // namespace flightpath
