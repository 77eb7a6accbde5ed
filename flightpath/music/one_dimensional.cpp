#include <optional>

#include "flightpath/api/music_parameters.h"
#include "flightpath/music/detail/frequency_estimation.h"
#include "flightpath/music/music_result.h"
#include "flightpath/runtime/detail/float_environment.h"
#include "flightpath/spectrum/estimator.h"

namespace {

std::optional<float> forcedCount(const BoundedNumSignals& count) {
  if (count.size[0] == 0 || count.size[1] == 0) {
    return {};
  }
  return count.data;
}

}  // namespace

void MUSICLib::MUSIC1D(const coder::array<creal32_T, 1>& x, const MUSICParameters* params,
                       MUSICResult* result) {
  const flightpath::DefaultFloatEnvironment environment;
  flightpath::estimateFrequencies(
      this, x, flightpath::makeSettings(*params, forcedCount(params->InputNumSignals)),
      {result->NormalizedFreqs, result->PeakValues, result->NumSignals, result->ScannedFreqs,
       result->PseudoSpectrum});
}
