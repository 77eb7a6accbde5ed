#include "flightpath/api/entry/estimate_tof.h"

#include <algorithm>
#include <cstdint>

#include "flightpath/api/detail/speed_of_light.h"
#include "flightpath/api/tof_parameters.h"
#include "flightpath/music/tof_result.h"
#include "flightpath/rules/default_settings.h"
#include "flightpath/runtime/array.h"
#include "flightpath/runtime/detail/float_environment.h"
#include "flightpath/runtime/detail/view.h"
#include "flightpath/spectrum/estimator.h"
#include "flightpath/toolbox/detail/blas.h"

namespace {

void copySamples(const CSI& csi, coder::array<creal32_T, 1>& samples) {
  const std::int32_t n = csi.Samples == nullptr ? 0 : csi.NumSubcarriers;
  samples.set_size(n);
  std::copy_n(csi.Samples, n, samples.data);
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
  flightpath::setDefaults(csi.NumSubcarriers, static_cast<float>(csi.SubcarrierSpacing),
                          parameters);
  if (numSignals.has_value()) {
    flightpath::setScalar(parameters.InputNumSignals, static_cast<float>(*numSignals));
  }
  MUSICLib estimator;
  ToFResult result;
  estimator.MUSICToF(samples, &parameters, &result);
  return toEstimate(result.Distances);
}

}  // namespace MUSIC
