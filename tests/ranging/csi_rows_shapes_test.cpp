#include <gtest/gtest.h>

#include <array>
#include <complex>
#include <cstddef>
#include <limits>
#include <random>
#include <vector>

#include "simulated_channel.h"
#include "tests/support/columns.h"
#include "tests/support/ranging.h"

using flightpath::CsiRows;
using flightpath::PathSet;
using support::columnsOf;
using support::options;
using support::Samples;
using support::spacing_Hz;

// EXACT: the stride counts samples, in double precision too, and for the rows of a group.
TEST(CsiRows, GapsBetweenRowsOfDoublePrecision) {
  constexpr std::size_t N = 56;
  constexpr std::size_t stride = N + 5;
  constexpr std::size_t count = 6;
  std::mt19937_64 random(5);
  const std::complex<double> poison(std::numeric_limits<double>::quiet_NaN(), 0.0);
  std::vector<std::complex<double>> padded((count - 1) * stride + N, poison);
  Samples dense;
  for (std::size_t i = 0; i < count; ++i) {
    const Samples row = simulateChannel(support::randomPaths(2, N, random),
                                        {static_cast<int>(N), spacing_Hz, 30.0}, random);
    dense.insert(dense.end(), row.begin(), row.end());
    for (std::size_t k = 0; k < N; ++k) {
      padded[i * stride + k] = {static_cast<double>(row[k].re), static_cast<double>(row[k].im)};
    }
  }
  for (const std::uint32_t S : {1U, 2U, 3U}) {
    flightpath::RangingOptions how = options();
    how.SnapshotsPerEstimate = S;
    flightpath::Ranger ranger(N, how);
    const PathSet found = ranger.estimate({padded, N, stride});
    const PathSet expected = ranger.estimate({dense, N});
    EXPECT_EQ(columnsOf(found).distances_m, columnsOf(expected).distances_m) << S;
    EXPECT_EQ(columnsOf(found).outcomes, columnsOf(expected).outcomes) << S;
  }
}

// {samples, 64} means rows of 64, whatever holds the samples: an array that decayed to a pointer would be
// one row of 64, and the rest of the samples would be dropped.
TEST(CsiRows, AnArrayIsTakenAsAContainerIs) {
  static constexpr std::complex<float> array[3 * 8] = {};
  const std::array<std::complex<float>, 24> container = {};
  const CsiRows ofContainer = {container, 8};
  const CsiRows ofArray = {array, 8};
  EXPECT_EQ(ofContainer.numSamples(), 24U);
  EXPECT_EQ(ofArray.samplesPerRow(), ofContainer.samplesPerRow());
  EXPECT_EQ(ofArray.numSamples(), ofContainer.numSamples());
}
