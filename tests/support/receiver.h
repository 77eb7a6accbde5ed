#pragma once

#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <random>
#include <vector>

#include "tests/support/ranging.h"

/// A receiver that ripples, and what it makes of one path.
namespace support {

using ComplexRows = std::vector<std::complex<double>>;

/// Its edges are 12 dB down, with ripple in gain and phase besides, neither of them symmetric; a delay
/// of its own.
inline ComplexRows ripplingResponse(const std::vector<int>& tones, double delay_s = 0.0) {
  const double first = tones.front();
  const double half = 0.5 * (tones.back() - first);
  ComplexRows response;
  for (const int t : tones) {
    const double x = (t - first) / half - 1.0;
    const double gain_dB = -12.0 * std::pow(x, 4) + 1.5 * std::cos(9.0 * x + 0.5) + x;
    const double phase =
        0.4 * std::sin(7.0 * x + 0.3) - 2.0 * std::numbers::pi * t * spacing_Hz * delay_s;
    response.push_back(std::polar(std::pow(10.0, gain_dB / 20.0), phase));
  }
  return response;
}

/// Rows of one path through it, each in a phase and at a power of its own, from half to twice.
inline ComplexRows measureThrough(const ComplexRows& response, const std::vector<int>& tones,
                                  double distance_m, double noisePower, unsigned seed,
                                  int rows = 1) {
  std::mt19937_64 random(seed);
  std::normal_distribution<double> normal;
  const double deviation = std::sqrt(noisePower / 2.0);
  std::uniform_real_distribution<double> turns(0.0, 1.0);
  ComplexRows samples;
  for (int row = 0; row < rows; ++row) {
    const double power = std::exp2(2.0 * turns(random) - 1.0);
    const double phase = 2.0 * std::numbers::pi * turns(random);
    for (std::size_t k = 0; k < tones.size(); ++k) {
      const double delay = tones[k] * spacing_Hz * distance_m / speedOfLight_mps;
      const double re = deviation * normal(random);
      samples.push_back(std::sqrt(power) *
                        (std::polar(1.0, phase - 2.0 * std::numbers::pi * delay) * response[k] +
                         std::complex<double>(re, deviation * normal(random))));
    }
  }
  return samples;
}

}  // namespace support
