#pragma once

#include <flightpath/flightpath.h>

#include <cstdint>
#include <random>
#include <vector>

#include "simulated_channel.h"

/// The measurements that the benchmarks run on.
namespace bench {

constexpr std::uint32_t spacing_Hz = 312500;

/// Paths at 30 dB: one, or three of 40, 110 and 200 ns over 20 MHz. A wider receiver sees the same
/// paths scaled to its resolution, so that every size searches the same number of peaks.
inline std::vector<creal32_T> measurement(int numSubcarriers, int numPaths) {
  const double scale = 64.0 / numSubcarriers;
  std::vector<SimulatedPath> paths = {{40e-9 * scale, 1.0, 0.3}};
  if (numPaths == 3) {
    paths.push_back({110e-9 * scale, 0.7, 1.9});
    paths.push_back({200e-9 * scale, 0.5, -2.2});
  }
  std::mt19937_64 random(static_cast<std::uint64_t>(numSubcarriers));
  return simulateChannel(paths, {numSubcarriers, static_cast<double>(spacing_Hz), 30.0}, random);
}

inline coder::array<creal32_T, 1> toColumn(const std::vector<creal32_T>& samples) {
  coder::array<creal32_T, 1> column;
  column.set_size(static_cast<std::int32_t>(samples.size()));
  std::copy(samples.begin(), samples.end(), column.begin());
  return column;
}

/// The settings that the entry point uses.
inline ToFEstimationParameters defaults(int numSubcarriers, double spacing = spacing_Hz) {
  ToFEstimationParameters parameters;
  const coder::array<float, 2> absent;
  parameters.init(static_cast<float>(numSubcarriers), static_cast<float>(spacing), absent, absent,
                  0, 1, 1, absent, absent);
  return parameters;
}

}  // namespace bench
