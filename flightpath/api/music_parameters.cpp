#include "flightpath/api/music_parameters.h"

#include <cstdint>

#include "flightpath/api/tof_parameters.h"
#include "flightpath/runtime/detail/view.h"

namespace {

void makeEmptyRow(coder::array<float, 2>& a) {
  if (a.data == nullptr) {
    a.set_size(1, 1);  // the first buffer, which a size of 0 alone would not bring
  }
  a.set_size(1, 0);
}

float checkedResolution(float value) {
  ToFEstimationParameters::a__validate_CoarseResolution(value);
  return value;
}

}  // namespace

// Switches and resolutions are left unset on purpose.
// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init,modernize-use-equals-default)
b_MUSICParameters::b_MUSICParameters() {}

void b_MUSICParameters::init() {
  makeEmptyRow(NormalizedScanningFreqs);
  makeEmptyRow(InputNumSignals);
}

void b_MUSICParameters::set_ForceClassic(unsigned char value) {
  ForceClassic = MUSICParameters::a__validate_ForceClassic(value);
}

void b_MUSICParameters::set_OptPhaseSlopeForOneSignalCase(unsigned char value) {
  OptPhaseSlopeForOneSignalCase = MUSICParameters::a__validate_ForceClassic(value);
}

void b_MUSICParameters::set_MeasurementContinual(unsigned char value) {
  MeasurementContinual = MUSICParameters::a__validate_ForceClassic(value);
}

void b_MUSICParameters::set_CoarseResolution(float value) {
  CoarseResolution = checkedResolution(value);
}

void b_MUSICParameters::set_FineResolution(float value) {
  FineResolution = checkedResolution(value);
}

void b_MUSICParameters::set_InputNumSignals(const coder::array<float, 2>& v) {
  flightpath::setRow(InputNumSignals, flightpath::asRow(v));
}

void b_MUSICParameters::set_NormalizedScanningFreqs(const coder::array<float, 2>& v) {
  flightpath::setRow(NormalizedScanningFreqs, flightpath::asRow(v));
}

unsigned char MUSICParameters::a__validate_ForceClassic(unsigned char value) { return value; }

void MUSICParameters::init(const coder::array<float, 2>& normalizedScanningFreqs,
                           const float* inputNumSignals, const int* inputNumSignalsSize,
                           unsigned char forceClassic, unsigned char optPhaseSlopeForOneSignalCase,
                           unsigned char measurementContinual, float coarseResolution,
                           float fineResolution) {
  flightpath::setRow(NormalizedScanningFreqs, flightpath::asRow(normalizedScanningFreqs));
  InputNumSignals.size[0] = inputNumSignalsSize[0];
  InputNumSignals.size[1] = inputNumSignalsSize[1];
  if (static_cast<std::int64_t>(inputNumSignalsSize[0]) * inputNumSignalsSize[1] > 0) {
    InputNumSignals.data = *inputNumSignals;
  }
  ForceClassic = forceClassic;
  OptPhaseSlopeForOneSignalCase = optPhaseSlopeForOneSignalCase;
  MeasurementContinual = measurementContinual;
  CoarseResolution = coarseResolution;
  FineResolution = fineResolution;
}
