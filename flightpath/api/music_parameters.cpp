#include "flightpath/api/music_parameters.h"

namespace {

void makeEmptyRow(coder::array<float, 2>& a) {
  if (a.data == nullptr) {
    a.set_size(1, 1);  // the first buffer, which a size of 0 alone would not bring
  }
  a.set_size(1, 0);
}

}  // namespace

// Switches and resolutions are left unset on purpose.
// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init,modernize-use-equals-default)
b_MUSICParameters::b_MUSICParameters() {}

void b_MUSICParameters::init() {
  makeEmptyRow(NormalizedScanningFreqs);
  makeEmptyRow(InputNumSignals);
}

void MUSICParameters::init(const coder::array<float, 2>& normalizedScanningFreqs,
                           const float* inputNumSignals, const int* inputNumSignalsSize,
                           unsigned char forceClassic, unsigned char optPhaseSlopeForOneSignalCase,
                           unsigned char measurementContinual, float coarseResolution,
                           float fineResolution) {
  set_NormalizedScanningFreqs(normalizedScanningFreqs);
  set_InputNumSignals(inputNumSignals, inputNumSignalsSize);
  set_ForceClassic(forceClassic);
  set_OptPhaseSlopeForOneSignalCase(optPhaseSlopeForOneSignalCase);
  set_MeasurementContinual(measurementContinual);
  set_CoarseResolution(coarseResolution);
  set_FineResolution(fineResolution);
}
