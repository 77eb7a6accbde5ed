#pragma once

#include <cmath>
#include <complex>
#include <numbers>
#include <numeric>
#include <random>
#include <vector>

#include "tests/support/ranging.h"

/// Channels over any tones, drawn from delays that are known.
namespace support {

struct TonePath {
  double distance_m;
  double amplitude;
  double phase_rad;  // at the mean index
};

/// Rows over these tones; the paths' phases advance by 1.3 p from a row to the next.
inline std::vector<std::complex<double>> measureTones(const std::vector<TonePath>& paths,
                                                      const std::vector<int>& tones,
                                                      double noisePower, unsigned seed,
                                                      int rows = 1) {
  std::mt19937_64 random(seed);
  std::normal_distribution<double> normal;
  const double deviation = std::sqrt(noisePower / 2.0);
  const double mean =
      std::accumulate(tones.begin(), tones.end(), 0.0) / static_cast<double>(tones.size());
  std::vector<std::complex<double>> samples;
  for (int row = 0; row < rows; ++row) {
    for (const int t : tones) {
      const double re = deviation * normal(random);
      std::complex<double> sample(re, deviation * normal(random));
      for (std::size_t p = 0; p < paths.size(); ++p) {
        const double turns = paths[p].distance_m / speedOfLight_mps * spacing_Hz * (t - mean);
        sample += std::polar(paths[p].amplitude, paths[p].phase_rad +
                                                     1.3 * row * static_cast<double>(p + 1) -
                                                     2.0 * std::numbers::pi * turns);
      }
      samples.push_back(sample);
    }
  }
  return samples;
}

}  // namespace support
