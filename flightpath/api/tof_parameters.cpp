#include "flightpath/api/tof_parameters.h"

#include "flightpath/api/detail/speed_of_light.h"
#include "flightpath/runtime/detail/view.h"

using flightpath::asRow;
using flightpath::setRow;

// Numbers and switches are left unset on purpose.
// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init,modernize-use-equals-default)
ToFEstimationParameters::ToFEstimationParameters() {}

void ToFEstimationParameters::init(
    float numSubcarriers, float subcarrierSpacing, const coder::array<float, 2>& scanningDistances,
    const coder::array<float, 2>& inputNumSignals, unsigned char forceClassic,
    unsigned char optPhaseSlopeForOneSignalCase, unsigned char measurementContinual,
    const coder::array<float, 2>& coarseResolution, const coder::array<float, 2>& fineResolution) {
  set_NumSubcarriers(numSubcarriers);
  set_SubcarrierSpacing(subcarrierSpacing);
  set_ScanningDistances(scanningDistances);
  set_InputNumSignals(inputNumSignals);
  set_ForceClassic(forceClassic);
  set_OptPhaseSlopeForOneSignalCase(optPhaseSlopeForOneSignalCase);
  set_MeasurementContinual(measurementContinual);
  setRow(CoarseResolution, asRow(coarseResolution));
  setRow(FineResolution, asRow(fineResolution));
}

float ToFEstimationParameters::getBandwidth() const { return NumSubcarriers * SubcarrierSpacing; }

float ToFEstimationParameters::getOptimalResolutions(float& fineResolution) const {
  const float coarse = flightpath::speedOfLight_mps / getBandwidth() / 30.0F;
  fineResolution = coarse / 50.0F;
  return coarse;
}
