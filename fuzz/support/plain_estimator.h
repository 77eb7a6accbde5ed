#pragma once

#include <optional>
#include <vector>

#include "flightpath/api/tof_parameters.h"
#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"

/// The estimators put together once more from the exported numeric routines, step by step and in
/// plain loops, in the same single precision: whatever the settings, the bits have to be the same.
/// The routines themselves have models of their own.
namespace fuzz {

/// Settings in normalised frequency.
struct PlainSettings {
  std::vector<float> grid;
  std::optional<float> forcedCount;
  bool forceClassic = false;
  bool allowPhaseSlope = false;
  bool uniformlySampled = false;
  float coarseResolution = 0.0F;
  float fineResolution = 0.0F;
};

struct PlainEstimate {
  float numSignals = 0.0F;
  std::vector<float> freqs;
  std::vector<float> peakValues;
  bool peakValuesAreAColumn = false;
  std::vector<float> scannedFreqs;
  std::vector<float> pseudoSpectrum;
};

/// Errors: std::length_error where the estimators have to throw it.
PlainEstimate plainEstimate(const coder::array<creal32_T, 1>& x, const PlainSettings& settings);

/// The settings that a record in metres stands for.
PlainSettings plainSettings(const ToFEstimationParameters& p);

/// (d * df) / c and (f / df) * c, in float.
float toNormalisedFrequency(float distance_m, float spacing_Hz);
float toDistance(float frequency, float spacing_Hz);

/// 2^round(log2(1 / resolution)) and 2 coarse / fine + 1: how many points the two searches take.
float coarsePoints(float coarseResolution);
float finePoints(float coarseResolution, float fineResolution);

}  // namespace fuzz
