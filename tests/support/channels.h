#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "flightpath/api/music_parameters.h"
#include "flightpath/api/tof_parameters.h"
#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"
#include "simulated_channel.h"
#include "tests/support/builders.h"

/// Measurements and settings that the tests of the estimators share.
namespace support {

constexpr double noNoise = std::numeric_limits<double>::infinity();

/// One path in the estimators' own unit: cycles per sample.
struct Tone {
  double freq;
  double amplitude = 1.0;
  double phase_rad = 0.0;
};

inline coder::array<creal32_T, 1> measure(const std::vector<Tone>& tones, int N, double snr_dB,
                                          std::mt19937_64& random) {
  std::vector<SimulatedPath> paths;
  for (const Tone& tone : tones) {
    paths.push_back({tone.freq, tone.amplitude, tone.phase_rad});  // 1 Hz apart: delay is frequency
  }
  return column(simulateChannel(paths, {N, 1.0, snr_dB}, random));
}

/// Three paths well apart, 30 dB over the noise.
inline coder::array<creal32_T, 1> threeTones(int N) {
  std::mt19937_64 random(20);
  return measure({{-0.211, 1.0, 0.4}, {0.0813, 0.9, 2.0}, {0.3127, 1.1, -1.0}}, N, 30.0, random);
}

/// count frequencies from first on, step apart.
inline coder::array<float, 2> evenGrid(float first, float step, int count) {
  coder::array<float, 2> grid;
  grid.set_size(1, count);
  for (int k = 0; k < count; ++k) {
    grid[k] = first + step * static_cast<float>(k);
  }
  return grid;
}

/// Settings that make one of the four routes answer for N samples.
struct RouteSettings {
  const char* name;
  float forcedCount;
  bool withGrid;
  bool forceClassic;
};

inline constexpr std::array<RouteSettings, 4> allRoutes = {{
    {"phase slope", 1.0F, false, false},
    {"FFT", 3.0F, false, false},
    {"FFT on the caller's grid", 3.0F, true, false},
    {"classic", 3.0F, true, true},
}};

/// A grid fine enough that every coarse peak has points near it.
inline coder::array<float, 2> gridFor(const RouteSettings& route) {
  return route.withGrid ? evenGrid(-0.5F, 0.001F, 1001) : coder::array<float, 2>();
}

inline MUSICParameters parametersFor(const RouteSettings& route, int N) {
  const int given[] = {1, 1};
  const float coarse = 1.0F / (30.0F * static_cast<float>(N));
  MUSICParameters p;
  p.init(gridFor(route), &route.forcedCount, given, route.forceClassic ? 1 : 0, 1, 1, coarse,
         coarse / 50.0F);
  return p;
}

constexpr float spacing_Hz = 312500.0F;

/// The same in metres and hertz, default resolutions.
inline ToFEstimationParameters tofParametersFor(const RouteSettings& route, int N) {
  constexpr float speedOfLight = 299792458.0F;
  coder::array<float, 2> distances = gridFor(route);
  for (float& d : distances) {
    d = d / spacing_Hz * speedOfLight;
  }
  ToFEstimationParameters p;
  p.init(static_cast<float>(N), spacing_Hz, distances, row({route.forcedCount}),
         route.forceClassic ? 1 : 0, 1, 1, {}, {});
  return p;
}

}  // namespace support
