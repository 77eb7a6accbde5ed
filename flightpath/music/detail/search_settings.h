#pragma once

#include <optional>
#include <span>

#include "flightpath/runtime/detail/view.h"

namespace flightpath {

/// The settings that both estimators share; see `MUSICParameters` for what they mean.
struct SearchSettings {
  std::span<const float> grid;  // the caller's frequencies; empty: none given
  std::optional<float> forcedCount;
  bool forceClassic;
  bool allowPhaseSlope;
  bool uniformlySampled;
  float coarseResolution;
  float fineResolution;
};

/// The settings in a parameter record. The two kinds of record differ in how they hold the forced
/// count, and in nothing else. The grid stays the record's.
template <class Parameters>
SearchSettings makeSettings(const Parameters& p, std::optional<float> forcedCount) {
  return {.grid = asRow(p.NormalizedScanningFreqs),
          .forcedCount = forcedCount,
          .forceClassic = p.ForceClassic != 0,
          .allowPhaseSlope = p.OptPhaseSlopeForOneSignalCase != 0,
          .uniformlySampled = p.MeasurementContinual != 0,
          .coarseResolution = p.CoarseResolution,
          .fineResolution = p.FineResolution};
}

}  // namespace flightpath
