#include "flightpath/api/estimate_tof.h"

#include <algorithm>
#include <cstdint>

#include "flightpath/api/speed_of_light.h"
#include "flightpath/api/tof_parameters.h"
#include "flightpath/music/tof_result.h"
#include "flightpath/runtime/array.h"
#include "flightpath/runtime/float_environment.h"
#include "flightpath/runtime/view.h"
#include "flightpath/spectrum/estimator.h"
#include "flightpath/toolbox/blas.h"

namespace {

void copySamples(const CSI& csi, coder::array<creal32_T, 1>& samples) {
  const std::int32_t n = csi.Samples == nullptr ? 0 : csi.NumSubcarriers;
  samples.set_size(n);
  std::copy_n(csi.Samples, n, samples.data);
}

/// Smoothing and the closed form on, no grid of the caller, default resolutions.
void setDefaults(const CSI& csi, std::optional<unsigned char> numSignals,
                 ToFEstimationParameters& parameters) {
  parameters.NumSubcarriers = csi.NumSubcarriers;
  parameters.SubcarrierSpacing = static_cast<float>(csi.SubcarrierSpacing);
  if (numSignals.has_value()) {
    flightpath::setScalar(parameters.InputNumSignals, static_cast<float>(*numSignals));
  }
  parameters.ForceClassic = 0;
  parameters.OptPhaseSlopeForOneSignalCase = 1;
  parameters.MeasurementContinual = 1;
}

ToFEstimate toEstimate(const coder::array<float, 2>& distances) {
  ToFEstimate estimate;
  estimate.Distances = std::vector<double>(distances.begin(), distances.end());
  estimate.TimesOfFlight.reserve(estimate.Distances.size());
  for (const double distance : estimate.Distances) {
    estimate.TimesOfFlight.push_back(distance / flightpath::exactSpeedOfLight_mps);
  }
  return estimate;
}

}  // namespace

namespace MUSIC {

ToFEstimate estimateToF(const CSI& csi, std::optional<unsigned char> numSignals) {
  const flightpath::DefaultFloatEnvironment environment;
  flightpath::blas::useOneThread();
  coder::array<creal32_T, 1> samples;
  copySamples(csi, samples);
  ToFEstimationParameters parameters;
  setDefaults(csi, numSignals, parameters);
  MUSICLib estimator;
  ToFResult result;
  estimator.MUSICToF(samples, &parameters, &result);
  return toEstimate(result.Distances);
}

}  // namespace MUSIC
