#include "flightpath/api/tof_parameters.h"

#include "flightpath/api/distance.h"
#include "flightpath/api/music_parameters.h"
#include "flightpath/api/speed_of_light.h"
#include "flightpath/runtime/view.h"

using flightpath::asRow;
using flightpath::isGiven;
using flightpath::setRow;

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

// Numbers and switches are left unset on purpose.
// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init,modernize-use-equals-default)
ToFEstimationParameters::ToFEstimationParameters() {}

void ToFEstimationParameters::init(
    float numSubcarriers, float subcarrierSpacing, const coder::array<float, 2>& scanningDistances,
    const coder::array<float, 2>& inputNumSignals, unsigned char forceClassic,
    unsigned char optPhaseSlopeForOneSignalCase, unsigned char measurementContinual,
    const coder::array<float, 2>& coarseResolution, const coder::array<float, 2>& fineResolution) {
  NumSubcarriers = numSubcarriers;
  SubcarrierSpacing = subcarrierSpacing;
  setRow(ScanningDistances, asRow(scanningDistances));
  setRow(InputNumSignals, asRow(inputNumSignals));
  ForceClassic = forceClassic;
  OptPhaseSlopeForOneSignalCase = optPhaseSlopeForOneSignalCase;
  MeasurementContinual = measurementContinual;
  setRow(CoarseResolution, asRow(coarseResolution));
  setRow(FineResolution, asRow(fineResolution));
}

float ToFEstimationParameters::getBandwidth() const { return NumSubcarriers * SubcarrierSpacing; }

float ToFEstimationParameters::getOptimalResolutions(float& fineResolution) const {
  const float coarse = flightpath::speedOfLight_mps / getBandwidth() / 30.0F;
  fineResolution = coarse / 50.0F;
  return coarse;
}

void ToFEstimationParameters::a__validate_CoarseResolution(float /*value*/) {}

void ToFEstimationParameters::set_CoarseResolution(float r) {
  a__validate_CoarseResolution(r);
  flightpath::setScalar(CoarseResolution, r);
}

void ToFEstimationParameters::set_FineResolution(float r) {
  a__validate_CoarseResolution(r);
  flightpath::setScalar(FineResolution, r);
}

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
