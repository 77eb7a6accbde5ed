#pragma once

#include <flightpath/flightpath.h>

#include <cmath>
#include <cstddef>

namespace bench {

/// The fine step of the default settings, in metres.
inline double fineStep_m(double numSubcarriers, double spacing_Hz) {
  return 299792458.0 / (numSubcarriers * spacing_Hz) / 1500.0;
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
