#pragma once

#include <cstdint>
#include <numbers>
#include <random>
#include <vector>

#include "simulated_channel.h"
#include "tests/support/ranging.h"

/// Rows that share their paths.
namespace support {

inline RangingOptions withSnapshots(std::uint32_t snapshots) {
  RangingOptions how = options();
  how.SnapshotsPerEstimate = snapshots;
  return how;
}

/// Paths of fixed delays and amplitudes, phases of their own in each row.
inline Samples drawRows(const std::vector<SimulatedPath>& paths, int N, int rows, double snr_dB,
                        std::mt19937_64& random) {
  std::uniform_real_distribution<double> phase(0.0, 2.0 * std::numbers::pi);
  Samples all;
  for (int row = 0; row < rows; ++row) {
    std::vector<SimulatedPath> turned = paths;
    for (SimulatedPath& path : turned) {
      path.phase_rad = phase(random);
    }
    const Samples x = simulateChannel(turned, {N, spacing_Hz, snr_dB}, random);
    all.insert(all.end(), x.begin(), x.end());
  }
  return all;
}

}  // namespace support
