#include <optional>

#include "flightpath/api/distance.h"
#include "flightpath/api/music_parameters.h"
#include "flightpath/api/tof_parameters.h"
#include "flightpath/music/detail/frequency_estimation.h"
#include "flightpath/music/tof_result.h"
#include "flightpath/runtime/detail/float_environment.h"
#include "flightpath/runtime/detail/view.h"
#include "flightpath/spectrum/estimator.h"

namespace {

std::optional<float> forcedCount(const b_MUSICParameters& p) {
  if (!flightpath::isGiven(p.InputNumSignals)) {
    return {};
  }
  return p.InputNumSignals[0];
}

}  // namespace

void MUSICLib::MUSICToF(const coder::array<creal32_T, 1>& x, const ToFEstimationParameters* params,
                        ToFResult* result) {
  const flightpath::DefaultFloatEnvironment environment;
  ToFEstimationParameters withDefaults(*params);
  b_MUSICParameters normalised;
  withDefaults.getMUSICParameters(normalised);
  coder::array<float, 2> freqs;
  coder::array<float, 2> scannedFreqs;
  flightpath::estimateFrequencies(
      this, x, flightpath::makeSettings(normalised, forcedCount(normalised)),
      {freqs, result->PeakValues, result->NumSignals, scannedFreqs, result->PseudoSpectrum});
  nf2Distance(freqs, params->SubcarrierSpacing, result->Distances);
  b_nf2Distance(scannedFreqs, params->SubcarrierSpacing, result->ScannedDistances);
}
