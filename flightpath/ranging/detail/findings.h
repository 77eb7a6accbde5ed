#pragma once

#include <complex>
#include <vector>

#include "flightpath/ranging/path.h"

namespace flightpath {

/// What a batch of estimates found, one after the other, in the order of the columns of a `PathSet`.
///
/// paths           without their amplitudes
/// amplitudes      per path, one per row
/// covariances_m2  per estimate, K x K
struct Findings {
  std::vector<Path> paths;
  std::vector<std::complex<double>> amplitudes;
  std::vector<double> covariances_m2;

  void clear() {
    paths.clear();
    amplitudes.clear();
    covariances_m2.clear();
  }
};

}  // namespace flightpath
