// From settings in metres to settings in normalised frequency: apart from both records, since their
// resolutions share a validation hook.

#include "flightpath/api/distance.h"
#include "flightpath/api/music_parameters.h"
#include "flightpath/api/tof_parameters.h"
#include "flightpath/runtime/detail/view.h"

using flightpath::isGiven;

namespace {

/// Gives a resolution that is absent its default, and leaves one that is there alone.
void fillInResolutions(ToFEstimationParameters& parameters) {
  const bool coarseGiven = isGiven(parameters.CoarseResolution);
  const bool fineGiven = isGiven(parameters.FineResolution);
  if (coarseGiven && fineGiven) {
    return;
  }
  float fine = 0.0F;
  const float coarse = parameters.getOptimalResolutions(fine);
  if (!coarseGiven) {
    parameters.set_CoarseResolution(coarse);
  }
  if (!fineGiven) {
    parameters.set_FineResolution(fine);
  }
}

}  // namespace

void ToFEstimationParameters::getMUSICParameters(b_MUSICParameters& out) {
  out.init();
  out.set_ForceClassic(ForceClassic);
  out.set_OptPhaseSlopeForOneSignalCase(OptPhaseSlopeForOneSignalCase);
  out.set_MeasurementContinual(MeasurementContinual);
  out.set_InputNumSignals(InputNumSignals);
  coder::array<float, 2> scanningFreqs;
  distance2NF(ScanningDistances, SubcarrierSpacing, scanningFreqs);
  out.set_NormalizedScanningFreqs(scanningFreqs);

  fillInResolutions(*this);
  out.set_CoarseResolution(distance2NF(CoarseResolution[0], SubcarrierSpacing));
  out.set_FineResolution(distance2NF(FineResolution[0], SubcarrierSpacing));
}
