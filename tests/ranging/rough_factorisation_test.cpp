#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "flightpath/ranging/detail/real_gram.h"
#include "simulated_channel.h"
#include "tests/ranging/full_decomposition.h"
#include "tests/support/columns.h"
#include "tests/support/ranging.h"

/// From order 256 on the Ranger's determinant is tried in single precision before double.
namespace {

using support::allEigenvalues;
using support::countByAll;
using support::Samples;
using support::spacing_Hz;

constexpr int N = 507;  // the fewest samples that give this order
constexpr int L = 380;  // round(0.75 N)

/// `count` equal paths five cells apart: a cell is the resolution, 1 / (N spacing).
std::vector<SimulatedPath> pathsWellApart(int count) {
  std::vector<SimulatedPath> paths;
  paths.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    paths.push_back({(10.0 + 5.0 * i) / (N * spacing_Hz), 1.0, 0.9 * i});
  }
  return paths;
}

Samples measure(int numPaths, double snr_dB, std::uint64_t seed) {
  std::mt19937_64 random(seed);
  return simulateChannel(pathsWellApart(numPaths), {N, spacing_Hz, snr_dB}, random);
}

int countOf(const Samples& x) {
  return support::columnsOf(support::estimateAlone(x, support::options())).numSignals[0];
}

}  // namespace

TEST(RoughFactorisation, BeginsAtOrder256) {
  EXPECT_EQ(flightpath::RealGram(N, L).order(), 256);
  EXPECT_EQ(std::round(0.75 * N), L);
}

// EXACT: the count that the criterion gives with every eigenvalue in double.
TEST(RoughFactorisation, CountsAsAllEigenvaluesDo) {
  for (const double snr_dB : {-10.0, 10.0, 30.0}) {
    for (const int numPaths : {0, 1, 2, 5}) {
      const Samples x = measure(numPaths, snr_dB, 3);
      EXPECT_EQ(countOf(x), countByAll(allEigenvalues(x)))
          << numPaths << " paths at " << snr_dB << " dB";
    }
  }
}

// EXACT: single precision sees a pivot near its own rounding, and double decides.
TEST(RoughFactorisation, WhereNoiseIsBelowSinglePrecisionDoubleCounts) {
  for (const double snr_dB : {50.0, 70.0, 90.0}) {
    const Samples x = measure(3, snr_dB, 4);
    const std::vector<double> eigenvalues = allEigenvalues(x);
    ASSERT_LT(eigenvalues.back(), 3e-5 * eigenvalues.front()) << "the case is none";
    EXPECT_EQ(countOf(x), countByAll(eigenvalues)) << snr_dB << " dB";
    EXPECT_EQ(countOf(x), 3) << snr_dB << " dB";
  }
}

// MODEL: each path within a tenth of the resolution.
TEST(RoughFactorisation, FindsThePathsWithAndWithoutNoise) {
  const double resolution_m = support::speedOfLight_mps / (N * spacing_Hz);
  for (const double snr_dB : {30.0, std::numeric_limits<double>::infinity()}) {
    const auto found = support::estimateAlone(measure(3, snr_dB, 5), support::options());
    ASSERT_EQ(found.distances_m().size(), 3U) << snr_dB << " dB";
    for (std::size_t i = 0; i < 3; ++i) {
      const double delay_s = pathsWellApart(3)[i].delay_s;
      EXPECT_NEAR(found.distances_m()[i], delay_s * support::speedOfLight_mps, 0.1 * resolution_m);
    }
  }
}
