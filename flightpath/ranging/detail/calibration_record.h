#pragma once

#include <complex>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace flightpath {

/// What a `Calibration` knows, under the names that it has there. Without samples it is none.
struct CalibrationRecord {
  double subcarrierSpacing = 0.0;
  double delay_s = 0.0;
  std::uint64_t numReferences = 0;
  std::uint64_t numOutliers = 0;
  std::uint32_t numSubcarriers = 0;
  std::vector<int> tones;
  std::vector<std::size_t> positions;
  std::vector<std::complex<double>> corrections;
  std::vector<double> weights;
  std::vector<int> missingTones;
};

}  // namespace flightpath
