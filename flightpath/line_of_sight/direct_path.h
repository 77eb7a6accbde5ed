#pragma once

#include <limits>

#include "flightpath/ranging/path.h"

namespace flightpath {

/// The direct path of one estimate. All numbers are NaN where `Result` is not `Outcome::Found`.
///
/// Distance_m      posterior mean, in metres, given that there is a direct path
/// Delay_s         seconds: Distance_m / 299792458
/// Deviation_m     posterior standard deviation. The posterior has wider flanks than a normal
///                 distribution: the interval holds what it promises, two deviations hold more
/// Lower_m,        the central interval of distances that holds the true one with the probability
/// Upper_m         `LineOfSightOptions::IntervalLevel`
/// Probability     that there is a direct path at all, and not the tail alone; 1/2 before the samples
///                 are seen
/// RicianFactor_dB power of the direct path over that of the tail, in dB: posterior mean, given a tail
/// Decay_s         decay time of the tail's power: posterior mean, given a tail. Both are NaN where the
///                 samples rule a tail out: it would be less likely than exp(-25)
/// NoisePower      per sample of a tone of weight 1, in the samples' unit squared
/// ProfileMisfit   what is left of the samples once path, tail and noise are accounted for: its
///                 periodogram's mean over its noise level. Around 1 where the profile fits, well above
///                 where it does not, as `EstimateInfo::ResidualStructure`; 1 where nothing is left at all
/// Result          Found, NoSignal (noise alone explains the samples better), BadSamples, or PhaseOnly
/// Quality         whether to trust the distance, in a word; NotRated where `Result` is not Found
struct DirectPath {
  double Distance_m = std::numeric_limits<double>::quiet_NaN();
  double Delay_s = std::numeric_limits<double>::quiet_NaN();
  double Deviation_m = std::numeric_limits<double>::quiet_NaN();
  double Lower_m = std::numeric_limits<double>::quiet_NaN();
  double Upper_m = std::numeric_limits<double>::quiet_NaN();
  double Probability = std::numeric_limits<double>::quiet_NaN();
  double RicianFactor_dB = std::numeric_limits<double>::quiet_NaN();
  double Decay_s = std::numeric_limits<double>::quiet_NaN();
  double NoisePower = std::numeric_limits<double>::quiet_NaN();
  double ProfileMisfit = std::numeric_limits<double>::quiet_NaN();
  Outcome Result = Outcome::NoSignal;
  flightpath::Quality Quality = flightpath::Quality::NotRated;
};

}  // namespace flightpath
