#pragma once

#include <flightpath/flightpath.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <random>
#include <vector>

/// A multipath channel as a receiver would measure it.
///
///   H(k) = sum over paths of amplitude exp(i (phase - 2 pi k spacing delay)) + noise,
///   k = 0 ... N - 1, white complex Gaussian noise
struct SimulatedPath {
  double delay_s;
  double amplitude;
  double phase_rad;
};

struct ChannelSetup {
  int numSubcarriers;
  double spacing_Hz;
  double snr_dB;  // mean power of the paths together over the noise power; infinite: no noise
};

/// One measurement. The same generator state gives the same samples.
inline std::vector<creal32_T> simulateChannel(const std::vector<SimulatedPath>& paths,
                                              const ChannelSetup& setup, std::mt19937_64& random) {
  constexpr double twoPi = 6.283185307179586;
  double power = 0.0;
  for (const SimulatedPath& path : paths) {
    power += path.amplitude * path.amplitude;
  }
  const double noisePower = (paths.empty() ? 1.0 : power) * std::pow(10.0, -setup.snr_dB / 10.0);
  std::normal_distribution<double> noise(0.0, 1.0);
  std::vector<creal32_T> samples;
  for (int k = 0; k < setup.numSubcarriers; ++k) {
    std::complex<double> h{noise(random), noise(random)};  // braces: drawn in this order
    h *= std::sqrt(noisePower / 2.0);
    for (const SimulatedPath& path : paths) {
      h += std::polar(path.amplitude, path.phase_rad - twoPi * k * setup.spacing_Hz * path.delay_s);
    }
    samples.push_back({static_cast<float>(h.real()), static_cast<float>(h.imag())});
  }
  return samples;
}
