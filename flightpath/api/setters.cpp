// The setters of all three classes of settings, and the hooks that their values pass: apart from the
// classes, which share hooks both ways.

#include <cstdint>

#include "flightpath/api/music_parameters.h"
#include "flightpath/api/tof_parameters.h"
#include "flightpath/runtime/detail/view.h"

using flightpath::asRow;
using flightpath::setRow;
using flightpath::setScalar;

namespace {

unsigned char checkedSwitch(unsigned char value) {
  return MUSICParameters::a__validate_ForceClassic(value);
}

float checkedResolution(float value) {
  ToFEstimationParameters::a__validate_CoarseResolution(value);
  return value;
}

}  // namespace

// --- Hooks ---

void ToFEstimationParameters::a__validate_NumSubcarriers(float /*value*/) {}
void ToFEstimationParameters::a__validate_SubcarrierSpacing(float /*value*/) {}
void ToFEstimationParameters::a__validate_ScanningDistances(const coder::array<float, 2>& /*v*/) {}
void ToFEstimationParameters::a__validate_InputNumSignals(const coder::array<float, 2>& /*v*/) {}
void ToFEstimationParameters::a__validate_CoarseResolution(float /*value*/) {}

unsigned char MUSICParameters::a__validate_ForceClassic(unsigned char value) { return value; }
void MUSICParameters::a__validate_NormalizedScanningFreqs(const coder::array<float, 2>& /*v*/) {}
void MUSICParameters::a__validate_InputNumSignals(const float* /*value*/, const int* /*size*/) {}

// --- ToFEstimationParameters ---

void ToFEstimationParameters::set_NumSubcarriers(float value) {
  a__validate_NumSubcarriers(value);
  NumSubcarriers = value;
}

void ToFEstimationParameters::set_SubcarrierSpacing(float value) {
  a__validate_SubcarrierSpacing(value);
  SubcarrierSpacing = value;
}

void ToFEstimationParameters::set_ScanningDistances(const coder::array<float, 2>& v) {
  a__validate_ScanningDistances(v);
  setRow(ScanningDistances, asRow(v));
}

void ToFEstimationParameters::set_InputNumSignals(const coder::array<float, 2>& v) {
  a__validate_InputNumSignals(v);
  setRow(InputNumSignals, asRow(v));
}

void ToFEstimationParameters::set_ForceClassic(unsigned char value) {
  ForceClassic = checkedSwitch(value);
}

void ToFEstimationParameters::set_OptPhaseSlopeForOneSignalCase(unsigned char value) {
  OptPhaseSlopeForOneSignalCase = checkedSwitch(value);
}

void ToFEstimationParameters::set_MeasurementContinual(unsigned char value) {
  MeasurementContinual = checkedSwitch(value);
}

void ToFEstimationParameters::set_CoarseResolution(float r) {
  setScalar(CoarseResolution, checkedResolution(r));
}

void ToFEstimationParameters::set_FineResolution(float r) {
  setScalar(FineResolution, checkedResolution(r));
}

// --- b_MUSICParameters ---

void b_MUSICParameters::set_NormalizedScanningFreqs(const coder::array<float, 2>& v) {
  setRow(NormalizedScanningFreqs, asRow(v));
}

void b_MUSICParameters::set_InputNumSignals(const coder::array<float, 2>& v) {
  setRow(InputNumSignals, asRow(v));
}

void b_MUSICParameters::set_ForceClassic(unsigned char value) {
  ForceClassic = checkedSwitch(value);
}

void b_MUSICParameters::set_OptPhaseSlopeForOneSignalCase(unsigned char value) {
  OptPhaseSlopeForOneSignalCase = checkedSwitch(value);
}

void b_MUSICParameters::set_MeasurementContinual(unsigned char value) {
  MeasurementContinual = checkedSwitch(value);
}

void b_MUSICParameters::set_CoarseResolution(float value) {
  CoarseResolution = checkedResolution(value);
}

void b_MUSICParameters::set_FineResolution(float value) {
  FineResolution = checkedResolution(value);
}

// --- MUSICParameters ---

void MUSICParameters::set_NormalizedScanningFreqs(const coder::array<float, 2>& v) {
  a__validate_NormalizedScanningFreqs(v);
  setRow(NormalizedScanningFreqs, asRow(v));
}

void MUSICParameters::set_InputNumSignals(const float* value, const int* size) {
  a__validate_InputNumSignals(value, size);
  InputNumSignals.size[0] = size[0];
  InputNumSignals.size[1] = size[1];
  if (static_cast<std::int64_t>(size[0]) * size[1] > 0) {
    InputNumSignals.data = *value;
  }
}

void MUSICParameters::set_ForceClassic(unsigned char value) { ForceClassic = checkedSwitch(value); }

void MUSICParameters::set_OptPhaseSlopeForOneSignalCase(unsigned char value) {
  OptPhaseSlopeForOneSignalCase = checkedSwitch(value);
}

void MUSICParameters::set_MeasurementContinual(unsigned char value) {
  MeasurementContinual = checkedSwitch(value);
}

void MUSICParameters::set_CoarseResolution(float value) {
  CoarseResolution = checkedResolution(value);
}

void MUSICParameters::set_FineResolution(float value) { FineResolution = checkedResolution(value); }
