#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "bench/measurement.h"
#include "simulated_channel.h"

/// The channels of the studies of agreement: 0 to 5 paths at 5 to 70 dB, in turn.
namespace bench {

constexpr std::array<int, 9> drawnSNRs_dB = {5, 10, 15, 20, 30, 40, 50, 60, 70};

/// Paths a random half to four resolution cells apart.
inline std::vector<SimulatedPath> drawPaths(int numPaths, double bandwidth_Hz,
                                            std::mt19937_64& random) {
  std::uniform_real_distribution<double> cells(0.5, 4.0);
  std::uniform_real_distribution<double> amplitude(0.3, 1.0);
  std::uniform_real_distribution<double> phase_rad(0.0, 6.283185307179586);
  std::vector<SimulatedPath> paths;
  double delay_s = 0.0;
  for (int k = 0; k < numPaths; ++k) {
    delay_s += cells(random) / bandwidth_Hz;
    const double a = amplitude(random);
    paths.push_back({delay_s, a, phase_rad(random)});
  }
  return paths;
}

struct DrawnChannel {
  int numPaths;
  int snr_dB;
  std::vector<creal32_T> samples;
};

inline DrawnChannel drawChannel(int N, int trial) {
  std::mt19937_64 random(static_cast<std::uint64_t>(N) * 1000003U +
                         static_cast<std::uint64_t>(trial));
  const int snr_dB = drawnSNRs_dB[static_cast<std::size_t>(trial) % drawnSNRs_dB.size()];
  const int numPaths = (trial / static_cast<int>(drawnSNRs_dB.size())) % 6;
  const auto spacing = static_cast<double>(spacing_Hz);
  return {numPaths, snr_dB,
          simulateChannel(drawPaths(numPaths, spacing * N, random),
                          {N, spacing, static_cast<double>(snr_dB)}, random)};
}

}  // namespace bench
