#pragma once

#include <flightpath/flightpath.h>

#include <cmath>
#include <cstddef>

namespace bench {

/// The step of the fine grid around a coarse peak, of default settings. It spans two coarse steps in
/// as many points as the single-precision quotient of both steps leaves: 101, or 100 where that
/// rounds down, as with 115 subcarriers 3.9 MHz apart.
inline double fineStep_m(float numSubcarriers, float spacing_Hz) {
  ToFEstimationParameters parameters;
  parameters.NumSubcarriers = numSubcarriers;
  parameters.SubcarrierSpacing = spacing_Hz;
  float fine = 0.0F;
  const float coarse = parameters.getOptimalResolutions(fine);
  const float points =
      std::floor(2.0F * distance2NF(coarse, spacing_Hz) / distance2NF(fine, spacing_Hz) + 1.0F);
  return 2.0 * static_cast<double>(coarse) / (static_cast<double>(points) - 1.0);
}

/// Whether both engines found as many paths, and each within 1.01 fine step.
inline bool samePaths(const ToFResult& dense, const flightpath::PathSet& ranger, double step_m) {
  if (static_cast<std::size_t>(dense.Distances.numel) != ranger.distances_m().size()) {
    return false;
  }
  for (int k = 0; k < dense.Distances.numel; ++k) {
    const double other = ranger.distances_m()[static_cast<std::size_t>(k)];
    if (!(std::fabs(static_cast<double>(dense.Distances[k]) - other) <= 1.01 * step_m)) {
      return false;
    }
  }
  return true;
}

}  // namespace bench
