#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "flightpath/ranging/calibration.h"

namespace flightpath {

/// How a `Ranger` finds paths.
///
/// Music              the answers of `MUSIC::estimateToF`, on its grid; no path below about 15 dB
/// MaximumLikelihood  delays at the Cramer-Rao bound, from 0 dB up, through missing tones, each with its
///                    deviation
enum class RangingMethod : std::uint8_t { Music, MaximumLikelihood };

/// The settings of a `Ranger`, fixed when it is made.
///
/// SubcarrierSpacing     hertz from one index to the next, finite and above 0
/// Method                which estimator answers
/// NumPaths              how many paths to search for, at most 65535; empty: estimate it. Maximum likelihood
///                       searches long for paths that are not there: ten forced where there are three take
///                       some twenty times as long as three, twenty of them eighty times
/// SnapshotsPerEstimate  how many consecutive rows share their paths and give one answer (the antennas
///                       of a receiver, packets in quick succession), 1 ... 65535
/// PhaseSlopeForOnePath  the closed form where there is exactly one path (Music)
/// Threads               how many work on a batch, at most 1024; 0: one per core
/// RoundTrip             the signal goes there and back (two-way ranging, reflections): its delay is twice
///                       that of the distance. Every answer is half of what it is without: distances,
///                       delays (one way then), deviations and intervals, the unambiguous range, the
///                       resolution cell and the step of the grid; covariances are a quarter. Metres of the
///                       options are one way too
/// Tones                 the indices of the subcarriers that a row holds, strictly increasing, with any
///                       origin; empty: 0 ... N - 1. `tonesOf` has those of the standards. Music wants
///                       them evenly spaced
/// Calibration           what the receiver adds to every row, to be divided out; of the same spacing, tones
///                       and length of a row. Its missing tones are left out, and its weights join
///                       `Weights` (MaximumLikelihood) as a factor; none by default
///
/// MaximumLikelihood alone, otherwise an error:
///
/// Weights           one per tone, the inverse of its noise power in any unit, finite and above 0;
///                   empty: all alike
/// ModelError        power that paths cannot explain, in dB of the strongest path's, at most 0: what a
///                   dispersive line or an imperfect receiver adds. Weaker paths are then not counted.
///                   Empty: none
/// EarliestDistance  the window of answers, in metres. Without one, the unambiguous range, half of it
/// LatestDistance    to either side of zero; with one end, the range from there. Uneven tones see
///                   aliases within the range, which a window rules out
/// IntervalLevel     above 0 and below 1: each path gets the interval of distances that holds the true
///                   one with this probability, by profile likelihood (`Path::Lower_m`, `Upper_m`), at
///                   one to three times the cost of the fit; empty: none
///
/// FalseAlarm        MaximumLikelihood: the probability that noise alone becomes a path, above 0 and
///                   below 1
struct RangingOptions {
  double SubcarrierSpacing = 0;
  RangingMethod Method = RangingMethod::MaximumLikelihood;
  std::optional<std::uint32_t> NumPaths;
  std::uint32_t SnapshotsPerEstimate = 1;
  bool PhaseSlopeForOnePath = true;
  unsigned Threads = 1;
  bool RoundTrip = false;
  std::vector<int> Tones;
  flightpath::Calibration Calibration;
  std::vector<double> Weights;
  double FalseAlarm = 1e-3;
  std::optional<double> ModelError;
  std::optional<double> EarliestDistance;
  std::optional<double> LatestDistance;
  std::optional<double> IntervalLevel;
};

}  // namespace flightpath
