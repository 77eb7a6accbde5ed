#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "simulated_channel.h"
#include "tests/support/ranging.h"

/// Forced counts on both sides of the block of six that the iteration starts with.
namespace {

using support::spacing_Hz;

constexpr int N = 128;
constexpr double cell_s = 1.0 / (N * spacing_Hz);  // the resolution

/// Paths four cells apart, all in the first half of the unambiguous range. The strongest six stand so
/// far above the others that a block of six settles without them.
std::vector<SimulatedPath> sixStrongOnesFirst(int count) {
  std::vector<SimulatedPath> paths;
  paths.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    paths.push_back({(4.0 + 4.0 * i) * cell_s, i < 6 ? 1.0 : 0.01, 0.7 * i * i});
  }
  return paths;
}

}  // namespace

// MODEL: every path within a tenth of the resolution.
TEST(ForcedCounts, FindTheWeakPathsBehindTheStrongOnes) {
  for (const int count : {2, 5, 6, 7, 8, 10, 15}) {
    std::mt19937_64 random(static_cast<unsigned>(count));
    const std::vector<SimulatedPath> paths = sixStrongOnesFirst(count);
    const support::Samples x = simulateChannel(paths, {N, spacing_Hz, 70.0}, random);
    const support::PathSet found =
        support::estimateAlone(x, support::options(static_cast<std::uint32_t>(count)));
    ASSERT_EQ(found.delays_s().size(), paths.size()) << count << " paths";
    for (std::size_t i = 0; i < paths.size(); ++i) {
      EXPECT_NEAR(found.delays_s()[i], paths[i].delay_s, 0.1 * cell_s) << count << " paths";
    }
  }
}

// MODEL: without noise the other eigenvalues are rounding, some of them below zero; they have no vector, and
// the path is found all the same, within a tenth of the resolution.
TEST(ForcedCounts, RoundingOnTheOtherSideOfZeroIsNoSignal) {
  for (const int numSamples : {8, 16, 40, 64}) {
    const double resolution_s = 1.0 / (numSamples * spacing_Hz);
    support::Samples x;
    for (int k = 0; k < numSamples; ++k) {
      const double angle = -2.0 * 3.14159265358979 * 0.13 * k;
      x.push_back({static_cast<float>(std::cos(angle)), static_cast<float>(std::sin(angle))});
    }
    for (std::uint32_t count = 2; count <= static_cast<std::uint32_t>(numSamples / 2); ++count) {
      const support::PathSet found = support::estimateAlone(x, support::options(count));
      double nearest = resolution_s;
      for (const double delay_s : found.delays_s()) {
        nearest = std::min(nearest, std::fabs(delay_s - 0.13 / spacing_Hz));
      }
      EXPECT_LT(nearest, 0.1 * resolution_s) << numSamples << " samples, " << count << " paths";
    }
  }
}
