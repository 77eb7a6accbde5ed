#include "fuzz/support/samples.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

#include "fuzz/support/any_float.h"
#include "simulated_channel.h"

namespace fuzz {
namespace {

/// Paths one to a slot of the period, in the middle half of it. Spaced 1 Hz, a delay is a frequency.
std::vector<SimulatedPath> pathsInSlots(int numPaths, std::mt19937_64& random) {
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::vector<SimulatedPath> paths;
  for (int k = 0; k < numPaths; ++k) {
    const double slot = (k + 0.25 + 0.5 * unit(random)) / numPaths;
    const double amplitude = 0.7 + 0.6 * unit(random);
    paths.push_back({slot - 0.5, amplitude, 6.28 * unit(random)});
  }
  return paths;
}

Samples simulated(int N, int numPaths, double snr_dB, std::uint32_t seed) {
  std::mt19937_64 random(seed);
  const std::vector<SimulatedPath> paths = pathsInSlots(numPaths, random);
  Samples x = simulateChannel(paths, {N, 1.0, snr_dB}, random);
  x.shrink_to_fit();  // so that a sample read beyond the end is seen
  return x;
}

/// Noise-free paths on frequencies that the FFT meets exactly: infinite peaks, exact ties, matrices
/// of low rank.
Samples onGrid(FuzzedDataProvider& data, int N) {
  std::vector<SimulatedPath> paths(data.ConsumeIntegralInRange<std::size_t>(1, 4));
  for (SimulatedPath& path : paths) {
    path = {data.ConsumeIntegralInRange(-8, 8) / 16.0, 1.0, 0.0};
  }
  std::mt19937_64 random(1);
  Samples x = simulateChannel(paths, {N, 1.0, std::numeric_limits<double>::infinity()}, random);
  x.shrink_to_fit();
  return x;
}

Samples wholeNumbers(FuzzedDataProvider& data, int N) {
  Samples x(static_cast<std::size_t>(N));
  for (creal32_T& z : x) {
    z.re = static_cast<float>(data.ConsumeIntegralInRange(-8, 7));
    z.im = static_cast<float>(data.ConsumeIntegralInRange(-8, 7));
  }
  return x;
}

Samples anyFloats(FuzzedDataProvider& data, int N) {
  Samples x(static_cast<std::size_t>(N));
  for (creal32_T& z : x) {
    z.re = anyFloat(data);
    z.im = anyFloat(data);
  }
  return x;
}

Samples unscaled(FuzzedDataProvider& data, int N) {
  switch (data.ConsumeIntegralInRange(0, 5)) {
    case 0:
      return simulated(N, data.ConsumeIntegralInRange(1, 6), data.ConsumeIntegralInRange(-10, 60),
                       data.ConsumeIntegral<std::uint32_t>());
    case 1:
      return simulated(N, 0, 0.0, data.ConsumeIntegral<std::uint32_t>());
    case 2:
      return Samples(static_cast<std::size_t>(N), creal32_T{anyFloat(data), anyFloat(data)});
    case 3:
      return wholeNumbers(data, N);
    case 4:
      return onGrid(data, N);
    default:
      return anyFloats(data, N);
  }
}

void replaceSome(FuzzedDataProvider& data, Samples& x) {
  const int times = x.empty() ? 0 : data.ConsumeIntegralInRange(0, 4);
  for (int i = 0; i < times; ++i) {
    creal32_T& z = x[data.ConsumeIntegralInRange<std::size_t>(0, x.size() - 1)];
    (data.ConsumeBool() ? z.re : z.im) = anyFloat(data);
  }
}

}  // namespace

int anyLength(FuzzedDataProvider& data) {
  return data.ConsumeIntegralInRange(0, data.ConsumeIntegralInRange(0, 7) == 0 ? mostSamples : 20);
}

Samples anySamples(FuzzedDataProvider& data, int N) {
  Samples x = unscaled(data, N);
  const int exponent = data.ConsumeBool() ? data.ConsumeIntegralInRange(-140, 120) : 0;
  for (creal32_T& z : x) {
    z = {std::ldexp(z.re, exponent), std::ldexp(z.im, exponent)};
  }
  replaceSome(data, x);
  return x;
}

bool allWithin(const Samples& x, float most) {
  return std::ranges::all_of(
      x, [=](creal32_T z) { return std::fabs(z.re) <= most && std::fabs(z.im) <= most; });
}

BenignChannel benignChannel(FuzzedDataProvider& data) {
  const int numPaths = data.ConsumeIntegralInRange(1, 4);
  const int N = data.ConsumeIntegralInRange(4 * numPaths, 32);
  return {simulated(N, numPaths, 20.0, data.ConsumeIntegral<std::uint32_t>()), numPaths};
}

}  // namespace fuzz
