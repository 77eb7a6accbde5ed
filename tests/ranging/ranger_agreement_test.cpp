#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "flightpath/api/tof_parameters.h"
#include "flightpath/music/tof_result.h"
#include "flightpath/ranging/ranger.h"
#include "flightpath/spectrum/estimator.h"
#include "flightpath/toolbox/detail/blas.h"
#include "simulated_channel.h"
#include "tests/support/builders.h"
#include "tests/support/columns.h"
#include "tests/support/measured_data.h"
#include "tests/support/ranging.h"

using support::estimateAlone;
using support::fineStep_m;
using support::options;
using support::PathSet;
using support::randomPaths;
using support::Samples;
using support::spacing_Hz;
using support::withSpacing;

namespace {

struct DenseAnswer {
  int numSignals;
  std::vector<double> distances;
};

/// What the estimator with the dense decomposition says, by the settings of MUSIC::estimateToF.
DenseAnswer dense(const Samples& x, double spacing) {
  flightpath::blas::useOneThread();
  ToFEstimationParameters parameters;
  parameters.NumSubcarriers = static_cast<float>(x.size());
  parameters.SubcarrierSpacing = static_cast<float>(spacing);
  parameters.ForceClassic = 0;
  parameters.OptPhaseSlopeForOneSignalCase = 1;
  parameters.MeasurementContinual = 1;
  MUSICLib estimator;
  ToFResult result;
  estimator.MUSICToF(support::column(x), &parameters, &result);
  return {static_cast<int>(result.NumSignals), {result.Distances.begin(), result.Distances.end()}};
}

bool samePaths(flightpath::Span<const double> a, const std::vector<double>& b, double tolerance_m) {
  if (a.size() != b.size()) {
    return false;
  }
  for (std::size_t k = 0; k < a.size(); ++k) {
    if (!(std::fabs(a[k] - b[k]) <= tolerance_m)) {
      return false;
    }
  }
  return true;
}

}  // namespace

// MODEL: two routes to the same answer in different precision; they may differ where the criterion
// or a tie of the fine grid is decided by single-precision rounding, which is rare from 20 dB up.
TEST(RangerBesideTheDenseRoute, AgreesOnSimulatedChannels) {
  constexpr int trials = 300;
  std::mt19937_64 random(2024);
  std::uniform_int_distribution<int> length(30, 114);
  std::uniform_real_distribution<double> snr_dB(20.0, 50.0);
  int sameCount = 0;
  int same = 0;
  for (int trial = 0; trial < trials; ++trial) {
    const int N = length(random);
    const std::vector<SimulatedPath> paths = randomPaths(trial % 5, N, random);
    const Samples x = simulateChannel(paths, {N, spacing_Hz, snr_dB(random)}, random);
    const PathSet found = estimateAlone(x, options());
    const DenseAnswer reference = dense(x, spacing_Hz);
    if (found.numSignals()[0] != reference.numSignals) {
      continue;
    }
    ++sameCount;
    const double tolerance_m = 1.01 * fineStep_m(x.size(), spacing_Hz);
    same += samePaths(found.distances_m(), reference.distances, tolerance_m) ? 1 : 0;
  }
  EXPECT_GE(sameCount, 0.99 * trials);
  EXPECT_GE(same, 0.995 * sameCount);
}

// MODEL: as above. Without imaginary parts the small matrix falls apart into two blocks, between
// which nothing passes: each has to find its own half of the signals.
TEST(RangerBesideTheDenseRoute, AgreesOnRealSamples) {
  constexpr int N = 64;
  constexpr int trials = 60;
  std::mt19937_64 random(31);
  std::uniform_real_distribution<double> phase(0.0, 2.0 * std::numbers::pi);
  std::normal_distribution<double> noise(0.0, 0.01);
  int sameCount = 0;
  for (int trial = 0; trial < trials; ++trial) {
    const int numTones = 1 + trial % 5;
    Samples x(N);
    for (int tone = 0; tone < numTones; ++tone) {
      const double start = phase(random);
      for (std::size_t k = 0; k < N; ++k) {
        const double turns = (0.06 + 0.08 * tone) * static_cast<double>(k);
        x[k].re += static_cast<float>(std::cos(start + 2.0 * std::numbers::pi * turns));
      }
    }
    for (creal32_T& sample : x) {
      sample.re += static_cast<float>(noise(random));
    }
    const int found = support::columnsOf(estimateAlone(x, options())).numSignals[0];
    const int expected = dense(x, spacing_Hz).numSignals;
    sameCount += found == expected ? 1 : 0;
    EXPECT_NEAR(found, expected, 1) << numTones << " real tones";
  }
  EXPECT_GE(sameCount, 0.95 * trials);
}

// MODEL: as above, on measured channels. Every one of them is counted alike; a peak between two
// points of the fine grid may come out at either.
TEST(RangerBesideTheDenseRoute, AgreesOnMeasuredChannels) {
  for (const std::string& name : support::measuredFiles()) {
    const CsiFile file = support::readMeasured(name);
    const double spacing = file.spacing_Hz;
    for (std::size_t i = 0; i < file.measurements.size(); ++i) {
      const Samples& x = file.measurements[i];
      const PathSet found = estimateAlone(x, withSpacing(spacing));
      const DenseAnswer reference = dense(x, spacing);
      EXPECT_EQ(found.numSignals()[0], reference.numSignals) << name << " " << i + 1;
      EXPECT_TRUE(
          samePaths(found.distances_m(), reference.distances, 1.01 * fineStep_m(x.size(), spacing)))
          << name << " " << i + 1 << ": "
          << testing::PrintToString(support::toVector(found.distances_m())) << " and "
          << testing::PrintToString(reference.distances);
    }
  }
}
