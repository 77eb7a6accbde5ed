#pragma once

#include <cstdint>

namespace flightpath {

/// One propagation path.
///
/// Distance_m  metres; negative where the receiver's timing puts it there, or where a path beyond
///             the unambiguous range wraps round
/// Delay_s     seconds: Distance_m / 299792458
/// Peak_dB     the refined pseudo-spectrum there, in decibels; 1 where the closed form answered
struct Path {
  double Distance_m = 0;
  double Delay_s = 0;
  float Peak_dB = 0;
};

/// How an estimate ended, and thus why it may have no path.
enum class Outcome : std::uint8_t {
  Found,     // at least one path; forced on nothing but zeros it is at 0, on one sample NaN
  NoSignal,  // no signal stands out of the noise, or none was asked for
  NothingAboveThreshold,  // signals were counted, but no peak of their spectrum passed its threshold
  BadSamples,             // a sample is NaN or infinite
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
  }
  return "unknown";
}

/// What is known of an estimate besides its paths.
///
/// NumSignals  the signal count used, estimated or forced; fewer paths may have been found
/// Result      what came of it
struct EstimateInfo {
  std::int32_t NumSignals = 0;
  Outcome Result = Outcome::NoSignal;
};

/// The scales by which the numbers of an answer are to be judged.
///
/// NumSubcarriers      N
/// SubcarrierSpacing   hertz
/// UnambiguousRange_m  c / spacing: distances lie within half of it to either side of zero, and a
///                     longer path wraps round
/// ResolutionCell_m    c / (N spacing), the distance that belongs to one over the bandwidth: what an
///                     inverse FFT can tell apart
/// GridStep_m          step of the fine search: distances from it are no finer than this
struct RangingContext {
  std::uint32_t NumSubcarriers = 0;
  double SubcarrierSpacing = 0;
  double UnambiguousRange_m = 0;
  double ResolutionCell_m = 0;
  double GridStep_m = 0;
};

}  // namespace flightpath
