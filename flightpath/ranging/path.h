#pragma once

#include <complex>
#include <cstdint>
#include <limits>

#include "flightpath/ranging/quality.h"

namespace flightpath {

/// One propagation path.
///
/// Distance_m   metres; negative where the receiver's timing puts it there, or where a path beyond
///              the unambiguous range wraps round
/// Delay_s      seconds: Distance_m / 299792458, one way also with `RangingOptions::RoundTrip`
/// Peak_dB      how high it stands. Music: the refined pseudo-spectrum there, 1 where the closed form
///              answered; MaximumLikelihood: the path's power, 10 log10 of the mean of |amplitude|^2
///
/// With MaximumLikelihood, and NaN with Music:
///
/// Deviation_m  standard deviation of Distance_m by the Fisher information at the answer. It holds
///              where the count is right and deviations are below a tenth of the paths' separation;
///              infinite where the samples do not determine the delays
/// Amplitude    complex, in the samples' unit: what the path adds to a tone at the mean index. Where
///              rows share their paths, that of the first row
/// SNR_dB       the path's power over the noise, per sample
/// Lower_m,     the interval of distances at `RangingOptions::IntervalLevel`; NaN unless that is set
/// Upper_m
struct Path {
  double Distance_m = 0;
  double Delay_s = 0;
  float Peak_dB = 0;
  double Deviation_m = std::numeric_limits<double>::quiet_NaN();
  std::complex<double> Amplitude = {std::numeric_limits<double>::quiet_NaN(),
                                    std::numeric_limits<double>::quiet_NaN()};
  double SNR_dB = std::numeric_limits<double>::quiet_NaN();
  double Lower_m = std::numeric_limits<double>::quiet_NaN();
  double Upper_m = std::numeric_limits<double>::quiet_NaN();
};

/// How an estimate ended, and thus why it may have no path.
enum class Outcome : std::uint8_t {
  Found,  // at least one path; Music, forced on nothing but zeros, has it at 0, on one sample NaN
  NoSignal,  // no signal stands out of the noise, none was asked for, or there is but one tone
  NothingAboveThreshold,  // Music counted signals, but no peak of their spectrum passed its threshold
  BadSamples,             // a sample is NaN or infinite
  PhaseOnly,              // LineOfSight: the samples carry phase alone, and that was not accepted
};

/// The outcome in words, for messages: "no signal stands out of the noise".
inline const char* toString(Outcome outcome) {
  switch (outcome) {
    case Outcome::Found:
      return "found";
    case Outcome::NoSignal:
      return "no signal stands out of the noise";
    case Outcome::NothingAboveThreshold:
      return "no peak passed the threshold";
    case Outcome::BadSamples:
      return "a sample is NaN or infinite";
    case Outcome::PhaseOnly:
      return "the samples carry phase alone";
  }
  return "unknown";
}

/// What is known of an estimate besides its paths.
///
/// NumSignals   the signal count used, estimated or forced. Music may have found fewer paths;
///              MaximumLikelihood lowers a forced count to what the tones can carry
/// Result       what came of it
/// PhaseOnly    the samples carry phase alone, as phase-based receivers report it: all of a row have the same
///              magnitude, to 1e-6 of it. Never with fewer than eight tones, where a sample is zero, NaN or
///              infinite, nor where a row of those that share their paths differs. With one path nothing is
///              lost (and without noise any receiver's samples are like that); with several, the
///              magnitudes that are missing make ghosts, also before the first path
///
/// With MaximumLikelihood, and NaN with Music or bad samples:
///
/// NoisePower         per sample of a tone of weight 1, in the samples' unit squared
/// ResidualStructure  the residual's periodogram, mean over noise level: 1 where the paths leave white
///                    noise, well above it where they do not explain the samples
/// WeakestMargin      how clearly the count is right: the test of the path that is needed least over its
///                    threshold, above 1 (NaN where there is no path, or the count was forced) ...
/// NextMargin         ... and that of the best path that was not taken, below 1 but for rare cases in
///                    which the search gave one up that it had weighed beside other paths
/// Quality            whether to trust the distance of the earliest path, in a word; NotRated with Music,
///                    and where there is no path
struct EstimateInfo {
  std::int32_t NumSignals = 0;
  Outcome Result = Outcome::NoSignal;
  double NoisePower = std::numeric_limits<double>::quiet_NaN();
  double ResidualStructure = std::numeric_limits<double>::quiet_NaN();
  double WeakestMargin = std::numeric_limits<double>::quiet_NaN();
  double NextMargin = std::numeric_limits<double>::quiet_NaN();
  bool PhaseOnly = false;
  flightpath::Quality Quality = flightpath::Quality::NotRated;
};

/// The scales by which the numbers of an answer are to be judged. The lengths are half of what is said
/// here with `RangingOptions::RoundTrip`.
///
/// NumSubcarriers      N
/// SubcarrierSpacing   hertz
/// UnambiguousRange_m  c / spacing, or c over the greatest common divisor of the tones' distances:
///                     distances lie within half of it to either side of zero, unless a window says
///                     otherwise, and a longer path wraps round
/// ResolutionCell_m    c / (N spacing), or c over the extent of the tones: the distance that belongs to
///                     one over the bandwidth, which is what an inverse FFT can tell apart
/// GridStep_m          Music: step of the fine search, distances from it are no finer than this;
///                     MaximumLikelihood: 0, distances are not on a grid
struct RangingContext {
  std::uint32_t NumSubcarriers = 0;
  double SubcarrierSpacing = 0;
  double UnambiguousRange_m = 0;
  double ResolutionCell_m = 0;
  double GridStep_m = 0;
};

}  // namespace flightpath
