#pragma once

#include <cmath>
#include <complex>
#include <numbers>
#include <numeric>
#include <random>
#include <vector>

#include "tests/support/ranging.h"

/// Channels with a direct path and a tail of many reflections behind it.
namespace support {

struct DiffuseChannel {
  double distance_m;
  double K_dB;  // power of the direct path over that of the tail
  double decay_s;
  double noisePower;  // where path and tail together have 1
};

/// Rows over these tones; 40 rays behind the path, their delays exponential. Rows share distance and
/// profile.
inline std::vector<std::complex<double>> measureDiffuse(const DiffuseChannel& channel,
                                                        const std::vector<int>& tones,
                                                        unsigned seed, int rows = 1) {
  std::mt19937_64 random(seed);
  std::normal_distribution<double> normal(0.0, std::sqrt(0.5));
  std::exponential_distribution<double> delay(1.0 / channel.decay_s);
  std::uniform_real_distribution<double> turn(0.0, 1.0);
  const double K = std::pow(10.0, channel.K_dB / 10.0);
  constexpr int count = 40;
  std::vector<std::complex<double>> samples;
  for (int row = 0; row < rows; ++row) {
    std::vector<double> delays_s(1, 0.0);
    std::vector<std::complex<double>> amplitudes(
        1, std::polar(std::sqrt(K / (1.0 + K)), 2.0 * std::numbers::pi * turn(random)));
    for (int i = 0; i < count; ++i) {
      delays_s.push_back(delay(random));
      const double re = normal(random);
      amplitudes.push_back(std::complex<double>(re, normal(random)) / std::sqrt(count * (1.0 + K)));
    }
    for (const int t : tones) {
      const double re = normal(random);
      std::complex<double> sample =
          std::sqrt(channel.noisePower) * std::complex<double>(re, normal(random));
      for (std::size_t p = 0; p < delays_s.size(); ++p) {
        const double turns = (channel.distance_m / speedOfLight_mps + delays_s[p]) * spacing_Hz * t;
        sample += amplitudes[p] * std::polar(1.0, -2.0 * std::numbers::pi * turns);
      }
      samples.push_back(sample);
    }
  }
  return samples;
}

}  // namespace support
