#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "simulated_channel.h"
#include "tests/ranging/full_decomposition.h"
#include "tests/support/columns.h"
#include "tests/support/ranging.h"

using support::allEigenvalues;
using support::countByAll;
using support::Samples;

namespace {

/// A path, and two 50 and 56 dB below it, the second of them under the rounding of single precision
/// as far as eigenvalues go; noise 128 dB below all.
Samples almostNoiseless(std::uint64_t seed) {
  constexpr double cell_s = 1.0 / (64 * support::spacing_Hz);
  std::mt19937_64 random(seed);
  return simulateChannel(
      {{2.0 * cell_s, 1.0, 0.0}, {13.0 * cell_s, 0.0032, 1.0}, {21.0 * cell_s, 0.0016, 1.0}},
      {64, support::spacing_Hz, 128.0}, random);
}

/// What is below 2^-24 of the largest is raised to it.
std::vector<double> raised(std::vector<double> descending) {
  const double least = 0x1p-24 * descending.front();
  std::ranges::for_each(descending, [=](double& value) { value = std::max(value, least); });
  return descending;
}

}  // namespace

// EXACT: a Cholesky factor exists here, but its pivots are no more than rounding.
TEST(SingularMatrix, EigenvaluesOfRoundingCountAsTheRoundingOfTheSamples) {
  for (const std::uint64_t seed : {1U, 2U, 3U, 4U, 5U}) {
    const Samples x = almostNoiseless(seed);
    const std::vector<double> eigenvalues = allEigenvalues(x);
    ASSERT_GT(eigenvalues.back(), 0.0) << "the case is none";
    ASSERT_NE(countByAll(raised(eigenvalues)), countByAll(eigenvalues)) << "the case is none";
    EXPECT_EQ(support::columnsOf(support::estimateAlone(x, support::options())).numSignals[0],
              countByAll(raised(eigenvalues)))
        << seed;
  }
}
