#pragma once

#include <complex>
#include <string>
#include <vector>

/// The ultra-wide-band impulse responses of data/ whose distances were surveyed.
namespace bench {

struct SurveyedTruth {
  int configuration;
  std::string kind;  // LOS, NLOS or NDP: line of sight, obstructed, direct path missing
  double distance_m;
  double chipRange_m;
  double chipFirstPath_ns;
};

/// samples     one row per truth, divided by the pulse
/// magnitudes  of the pulse, per tone
struct SurveyedChannels {
  double spacing_Hz;
  std::vector<std::complex<double>> samples;
  std::vector<double> magnitudes;
  std::vector<SurveyedTruth> truths;
};

/// Errors: std::runtime_error for files that are none of this kind.
SurveyedChannels readSurveyed(const char* measurements, const char* truths, const char* pulse);

/// The error of the distance that follows from a first path: the chip's two-way range counts from the first
/// path that it saw itself, in both ways: range + share c (first path - the chip's). Half of the difference
/// where only one of the two ways was seen.
double surveyedError_m(const SurveyedTruth& truth, double firstPath_ns, double share);

/// Noise of tones that are divided by the pulse grows with one over its square.
template <class Options>
Options surveyedOptions(const SurveyedChannels& channels) {
  Options options;
  options.SubcarrierSpacing = channels.spacing_Hz;
  for (const double magnitude : channels.magnitudes) {
    options.Weights.push_back(magnitude * magnitude);
  }
  return options;
}

}  // namespace bench
