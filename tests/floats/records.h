#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <vector>

#include "flightpath/api/entry/estimate_tof.h"
#include "flightpath/runtime/complex.h"
#include "simulated_channel.h"

/// Measurements, ways to spoil them, and the entry point called with them.
namespace support {

using Record = std::vector<creal32_T>;

constexpr std::uint32_t recordSpacing_Hz = 312500;
constexpr double lightSpeed_mps = 299792458.0;

/// Up to three paths, some two range cells apart: in the same place of the period for every N.
inline Record ordinaryRecord(int N, int numPaths, double snr_dB, std::uint64_t seed) {
  const double cell_s = 1.0 / (static_cast<double>(N) * recordSpacing_Hz);
  const std::vector<SimulatedPath> all = {
      {0.8 * cell_s, 1.0, 0.3}, {2.6 * cell_s, 0.8, 1.9}, {4.9 * cell_s, 0.6, -2.2}};
  std::mt19937_64 random(seed);
  return simulateChannel({all.begin(), all.begin() + numPaths},
                         {N, static_cast<double>(recordSpacing_Hz), snr_dB}, random);
}

/// Which part of a sample is replaced.
enum class Part { Real, Imaginary, Both };

inline Record withSample(Record x, std::size_t at, Part part, float value) {
  if (part != Part::Imaginary) {
    x[at].re = value;
  }
  if (part != Part::Real) {
    x[at].im = value;
  }
  return x;
}

inline CSI toCSI(const Record& x) {
  return {recordSpacing_Hz, static_cast<std::uint16_t>(x.size()), x.data()};
}

/// forced  -1: the count is estimated
inline std::optional<unsigned char> forcedCount(int forced) {
  return forced < 0 ? std::nullopt : std::optional(static_cast<unsigned char>(forced));
}

inline ToFEstimate estimateRecord(const Record& x, int forced) {
  return MUSIC::estimateToF(toCSI(x), forcedCount(forced));
}

}  // namespace support
