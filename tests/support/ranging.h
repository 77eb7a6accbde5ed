#pragma once

#include <cmath>
#include <cstdint>
#include <numbers>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "flightpath/api/distance.h"
#include "flightpath/api/tof_parameters.h"
#include "flightpath/ranging/ranger.h"
#include "simulated_channel.h"

/// What the tests of the Ranger share: settings, and channels of random paths.
namespace support {

using flightpath::PathSet;
using flightpath::Ranger;
using flightpath::RangingOptions;
using Samples = std::vector<creal32_T>;

constexpr double spacing_Hz = 312500.0;
constexpr double speedOfLight_mps = 299792458.0;

/// Of MUSIC, whose answers those of the dense routines check.
inline RangingOptions withSpacing(double spacing) {
  RangingOptions how;
  how.Method = flightpath::RangingMethod::Music;
  how.SubcarrierSpacing = spacing;
  return how;
}

inline RangingOptions options(std::optional<std::uint32_t> forced = {}, unsigned threads = 1) {
  RangingOptions how = withSpacing(spacing_Hz);
  how.NumPaths = forced;
  how.Threads = threads;
  return how;
}

/// Of maximum likelihood.
inline RangingOptions likelihood(std::optional<std::uint32_t> forced = {}, unsigned threads = 1) {
  RangingOptions how = options(forced, threads);
  how.Method = flightpath::RangingMethod::MaximumLikelihood;
  return how;
}

inline PathSet estimateAlone(const Samples& x, const RangingOptions& how) {
  return Ranger(static_cast<std::uint32_t>(x.size()), how).estimate(x);
}

/// What a Ranger of these options is refused for; nothing where it is not.
inline std::string refusal(std::uint32_t N, const RangingOptions& how) {
  try {
    const Ranger ranger(N, how);
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return "";
}

inline std::vector<SimulatedPath> randomPaths(int count, int N, std::mt19937_64& random) {
  const double longest_s = 1.0 / spacing_Hz;
  std::uniform_real_distribution<double> gap(1.0, 3.0);
  std::uniform_real_distribution<double> amplitude(0.4, 1.0);
  std::uniform_real_distribution<double> phase(0.0, 2.0 * std::numbers::pi);
  std::vector<SimulatedPath> paths;
  double delay_s = 0.02 * longest_s;
  for (int i = 0; i < count; ++i) {
    delay_s += gap(random) * longest_s / N;
    paths.push_back({delay_s, amplitude(random), phase(random)});
  }
  return paths;
}

/// The step of the fine grid around a coarse peak, of default settings. It spans two coarse steps in
/// as many points as the single-precision quotient of both steps leaves: 101, or 100 where that
/// rounds down, as with 115 subcarriers 3.9 MHz apart.
inline double fineStep_m(std::size_t N, double spacing) {
  ToFEstimationParameters parameters;
  parameters.NumSubcarriers = static_cast<float>(N);
  parameters.SubcarrierSpacing = static_cast<float>(spacing);
  float fine = 0.0F;
  const float coarse = parameters.getOptimalResolutions(fine);
  const auto turns = [&](float distance) {
    return distance2NF(distance, parameters.SubcarrierSpacing);
  };
  const float points = std::floor(2.0F * turns(coarse) / turns(fine) + 1.0F);
  return 2.0 * static_cast<double>(coarse) / (static_cast<double>(points) - 1.0);
}

}  // namespace support
