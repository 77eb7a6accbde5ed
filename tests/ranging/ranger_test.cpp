#include "flightpath/ranging/ranger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "flightpath/runtime/nonfinite.h"
#include "simulated_channel.h"
#include "tests/support/ranging.h"
#include "tests/support/same_bits.h"

using flightpath::PathSet;
using flightpath::Ranger;
using flightpath::RangingOptions;
using support::estimateAlone;
using support::fineStep_m;
using support::options;
using support::randomPaths;
using support::Samples;
using support::spacing_Hz;
using support::withSpacing;

namespace {

constexpr double speedOfLight_mps = 299792458.0;
constexpr double noNoise = std::numeric_limits<double>::infinity();

template <class T>
void expectSame(const std::vector<T>& a, const std::vector<T>& b, const char* what) {
  ASSERT_EQ(a.size(), b.size()) << what;
  for (std::size_t k = 0; k < a.size(); ++k) {
    EXPECT_TRUE(support::sameBits(a[k], b[k])) << what << " " << k;
  }
}

void expectSame(const PathSet& a, const PathSet& b) {
  EXPECT_EQ(a.Offsets, b.Offsets);
  expectSame(a.Distances, b.Distances, "distance");
  expectSame(a.TimesOfFlight, b.TimesOfFlight, "time");
  expectSame(a.PeakValues, b.PeakValues, "peak value");
  expectSame(a.NumSignals, b.NumSignals, "count");
}

/// Puts b behind a: what a batch of both must give.
void append(PathSet& a, const PathSet& b) {
  const std::size_t before = a.Distances.size();
  for (std::size_t i = 1; i < b.Offsets.size(); ++i) {
    a.Offsets.push_back(before + b.Offsets[i]);
  }
  a.Distances.insert(a.Distances.end(), b.Distances.begin(), b.Distances.end());
  a.TimesOfFlight.insert(a.TimesOfFlight.end(), b.TimesOfFlight.begin(), b.TimesOfFlight.end());
  a.PeakValues.insert(a.PeakValues.end(), b.PeakValues.begin(), b.PeakValues.end());
  a.NumSignals.insert(a.NumSignals.end(), b.NumSignals.begin(), b.NumSignals.end());
}

void expectConsistent(const PathSet& set, std::size_t count) {
  ASSERT_EQ(set.Offsets.size(), count + 1);
  EXPECT_EQ(set.Offsets.front(), 0U);
  for (std::size_t i = 0; i < count; ++i) {
    EXPECT_LE(set.Offsets[i], set.Offsets[i + 1]);
  }
  EXPECT_EQ(set.Offsets.back(), set.Distances.size());
  EXPECT_EQ(set.TimesOfFlight.size(), set.Distances.size());
  EXPECT_EQ(set.PeakValues.size(), set.Distances.size());
  EXPECT_EQ(set.NumSignals.size(), count);
}

Samples channel(const std::vector<SimulatedPath>& paths, int N, double snr_dB, std::uint64_t seed) {
  std::mt19937_64 random(seed);
  return simulateChannel(paths, {N, spacing_Hz, snr_dB}, random);
}

/// Measurements of none to five paths, some of them noise-free, and two that are all zero or constant.
std::vector<Samples> mixedMeasurements(int N) {
  std::mt19937_64 random(11);
  std::vector<Samples> all;
  for (int i = 0; i < 22; ++i) {
    const double snr_dB = i % 7 == 6 ? noNoise : 5.0 * (i % 8);
    all.push_back(simulateChannel(randomPaths(i % 6, N, random), {N, spacing_Hz, snr_dB}, random));
  }
  all.emplace_back(static_cast<std::size_t>(N));
  all.emplace_back(static_cast<std::size_t>(N), creal32_T{0.5F, -2.0F});
  return all;
}

Samples rows(const std::vector<Samples>& measurements) {
  Samples all;
  for (const Samples& x : measurements) {
    all.insert(all.end(), x.begin(), x.end());
  }
  return all;
}

/// Each one by a Ranger of its own, put together.
PathSet oneByOne(const std::vector<Samples>& measurements, const RangingOptions& how) {
  PathSet all;
  all.Offsets = {0};
  for (const Samples& x : measurements) {
    append(all, estimateAlone(x, how));
  }
  return all;
}

}  // namespace

// EXACT: the same bits alone, in a batch, and by any number of threads.
TEST(Ranger, ResultsDependOnTheMeasurementAlone) {
  for (const int N : {30, 64}) {
    const std::vector<Samples> measurements = mixedMeasurements(N);
    const Samples batch = rows(measurements);
    for (const std::optional<unsigned char> forced :
         {std::optional<unsigned char>(), std::optional<unsigned char>(1),
          std::optional<unsigned char>(3)}) {
      const PathSet expected = oneByOne(measurements, options(forced));
      for (const unsigned threads : {1U, 2U, 3U, 5U, 40U}) {
        SCOPED_TRACE(testing::Message() << "N " << N << ", threads " << threads);
        Ranger ranger(static_cast<std::uint32_t>(N), options(forced, threads));
        expectSame(ranger.estimate(batch.data(), measurements.size()), expected);
        expectSame(ranger.estimate(batch.data(), measurements.size()), expected);
      }
    }
  }
}

// EXACT: nothing of a NaN or infinity is left in what comes after it.
TEST(Ranger, NonFiniteSamplesHaveNoPathAndLeaveTheNeighboursAlone) {
  constexpr int N = 64;
  const Samples good = channel({{150e-9, 1.0, 0.4}, {420e-9, 0.8, 2.0}}, N, 30.0, 8);
  for (const float bad : {rtNaNF, rtInfF, rtMinusInfF}) {
    for (const std::size_t at : {std::size_t{0}, std::size_t{31}, std::size_t{63}}) {
      for (const int forced : {-1, 0, 1, 2, 255}) {
        SCOPED_TRACE(testing::Message() << bad << " at " << at << ", forced " << forced);
        RangingOptions how = options();
        if (forced >= 0) {
          how.NumSignals = static_cast<unsigned char>(forced);
        }
        Samples broken = good;
        (at % 2 == 0 ? broken[at].re : broken[at].im) = bad;
        const PathSet found = Ranger(N, how).estimate(rows({good, broken, good}).data(), 3);
        expectConsistent(found, 3);
        EXPECT_EQ(found.NumSignals[1], 0.0F);
        EXPECT_EQ(found.Offsets[1], found.Offsets[2]);
        PathSet expected = estimateAlone(good, how);
        append(expected, {{0, 0}, {}, {}, {}, {0.0F}});
        append(expected, estimateAlone(good, how));
        expectSame(found, expected);
      }
    }
  }
}

TEST(Ranger, BadArgumentsAreNamed) {
  struct Row {
    std::uint32_t numSubcarriers;
    double spacing;
    const char* named;
    const char* why;
  };
  const Row table[] = {
      {0, spacing_Hz, "numSubcarriers", "none"},
      {65536, spacing_Hz, "numSubcarriers", "one too many"},
      {4294967295U, spacing_Hz, "numSubcarriers", "the largest"},
      {64, 0.0, "SubcarrierSpacing", "zero"},
      {64, -0.0, "SubcarrierSpacing", "negative zero"},
      {64, -312500.0, "SubcarrierSpacing", "negative"},
      {64, rtNaN, "SubcarrierSpacing", "NaN"},
      {64, rtInf, "SubcarrierSpacing", "infinite"},
      {64, rtMinusInf, "SubcarrierSpacing", "minus infinity"},
      {64, 1e300, "SubcarrierSpacing", "infinite in single precision"},
      {64, 1e-320, "SubcarrierSpacing", "zero in single precision"},
  };
  for (const Row& row : table) {
    try {
      const Ranger ranger(row.numSubcarriers, withSpacing(row.spacing));
      ADD_FAILURE() << "accepted: " << row.why;
    } catch (const std::invalid_argument& error) {
      EXPECT_NE(std::string(error.what()).find(row.named), std::string::npos)
          << row.why << ": " << error.what();
    }
  }
  EXPECT_THROW(Ranger(64, {}), std::invalid_argument) << "the spacing has no default";
}

TEST(Ranger, NullSamplesAreRefusedAndTheRangerStaysUsable) {
  const Samples x = channel({{150e-9, 1.0, 0.4}, {420e-9, 0.8, 2.0}}, 64, 30.0, 8);
  Ranger ranger(64, options({}, 2));
  PathSet out;
  try {
    ranger.estimate(nullptr, 1, out);
    ADD_FAILURE() << "accepted";
  } catch (const std::invalid_argument& error) {
    EXPECT_NE(std::string(error.what()).find("csi"), std::string::npos) << error.what();
  }
  EXPECT_THROW(ranger.estimate(nullptr, 3), std::invalid_argument);
  expectSame(ranger.estimate(x.data(), 1), estimateAlone(x, options()));
}

TEST(Ranger, AnEmptyBatchHasOffsetsOfZeroAlone) {
  const creal32_T unread = {1.0F, 0.0F};
  for (const unsigned threads : {1U, 3U}) {
    Ranger ranger(64, options({}, threads));
    for (const creal32_T* csi : {static_cast<const creal32_T*>(nullptr), &unread}) {
      const PathSet found = ranger.estimate(csi, 0);
      EXPECT_EQ(found.Offsets, std::vector<std::size_t>{0});
      expectConsistent(found, 0);
    }
  }
}

// EXACT: what a larger batch left behind is gone.
TEST(Ranger, AReusedPathSetKeepsNoOldPaths) {
  const std::vector<Samples> measurements = mixedMeasurements(64);
  const Samples batch = rows(measurements);
  Ranger ranger(64, options());
  PathSet out;
  ranger.estimate(batch.data(), measurements.size(), out);
  expectConsistent(out, measurements.size());
  ASSERT_GT(out.Distances.size(), 20U);
  ranger.estimate(batch.data() + 2 * 64, 1, out);
  expectSame(out, estimateAlone(measurements[2], options()));
  ranger.estimate(nullptr, 0, out);
  expectConsistent(out, 0);
}

TEST(Ranger, ForcedCountsAreReportedAndBoundThePaths) {
  const Samples x =
      channel({{150e-9, 1.0, 0.4}, {520e-9, 0.9, 2.0}, {1100e-9, 0.8, 4.0}}, 64, 35.0, 3);
  for (const int forced : {0, 1, 2, 3, 20, 255}) {
    for (const bool slope : {true, false}) {
      RangingOptions how = options(static_cast<unsigned char>(forced));
      how.PhaseSlopeForOnePath = slope;
      const PathSet found = estimateAlone(x, how);
      expectConsistent(found, 1);
      EXPECT_EQ(found.NumSignals[0], static_cast<float>(forced));
      EXPECT_LE(found.Distances.size(), static_cast<std::size_t>(forced));
    }
  }
  EXPECT_EQ(estimateAlone(x, options(3)).Distances.size(), 3U);
}

// BOUND: noise-free, the mean phase slope has the rounding of N single-precision phase steps, far
// below a fine step; the search ends within half a fine step, and half more for the coarse axis.
TEST(Ranger, OnePathByTheClosedFormOrByTheSearch) {
  const double delay_s = 173e-9;
  const Samples x = channel({{delay_s, 1.0, 0.5}}, 64, noNoise, 1);
  for (const std::optional<unsigned char> forced :
       {std::optional<unsigned char>(), std::optional<unsigned char>(1)}) {
    for (const bool slope : {true, false}) {
      RangingOptions how = options(forced);
      how.PhaseSlopeForOnePath = slope;
      const PathSet found = estimateAlone(x, how);
      ASSERT_EQ(found.Distances.size(), 1U) << slope;
      EXPECT_EQ(found.NumSignals[0], 1.0F);
      EXPECT_EQ(found.PeakValues[0] == 1.0F, slope) << "1 marks the closed form";
      EXPECT_NEAR(found.Distances[0], delay_s * speedOfLight_mps, fineStep_m(64, spacing_Hz));
      EXPECT_EQ(found.TimesOfFlight[0], found.Distances[0] / speedOfLight_mps);
    }
  }
}

TEST(Ranger, AllZeroHasNoSignalAndAConstantIsOnePathAtZero) {
  for (const std::size_t N : {8U, 30U, 64U}) {
    const PathSet zero = estimateAlone(Samples(N), options());
    EXPECT_EQ(zero.NumSignals[0], 0.0F);
    EXPECT_TRUE(zero.Distances.empty());
    const PathSet constant = estimateAlone(Samples(N, {0.5F, -2.0F}), options());
    EXPECT_EQ(constant.NumSignals[0], 1.0F);
    ASSERT_EQ(constant.Distances.size(), 1U);
    EXPECT_NEAR(constant.Distances[0], 0.0, fineStep_m(N, spacing_Hz));
  }
}

// MODEL: without noise the count is exact and each path is found to a fine step, and half of one
// for each neighbour, whose rounding tilts the top of the peak.
TEST(Ranger, NoiseFreePathsAreCountedAndFound) {
  constexpr int N = 64;
  const double cell_s = 1.0 / (N * spacing_Hz);
  struct Row {
    std::vector<double> cells;
    const char* why;
  };
  const Row table[] = {
      {{3.0}, "one, on the grid"},
      {{3.37}, "one, off the grid"},
      {{3.0, 8.0}, "two, on the grid"},
      {{3.21, 9.77}, "two, off the grid"},
      {{3.0, 8.0, 15.0}, "three, on the grid"},
      {{3.013, 8.439, 15.871}, "three, off the grid"},
  };
  for (const Row& row : table) {
    std::vector<SimulatedPath> paths;
    for (const double cell : row.cells) {
      paths.push_back({cell * cell_s, 1.0, 0.8 * cell});
    }
    const PathSet found = estimateAlone(channel(paths, N, noNoise, 1), options());
    EXPECT_EQ(found.NumSignals[0], static_cast<float>(paths.size())) << row.why;
    ASSERT_EQ(found.Distances.size(), paths.size()) << row.why;
    for (std::size_t k = 0; k < paths.size(); ++k) {
      EXPECT_NEAR(found.Distances[k], paths[k].delay_s * speedOfLight_mps,
                  1.5 * fineStep_m(N, spacing_Hz))
          << row.why;
    }
  }
}

TEST(Ranger, EveryShortLengthGivesAConsistentAnswer) {
  for (int N = 1; N <= 40; ++N) {
    const std::vector<Samples> measurements = mixedMeasurements(N);
    const Samples batch = rows(measurements);
    for (const int forced : {-1, 0, 1, 2, 3, 255}) {
      SCOPED_TRACE(testing::Message() << "N " << N << ", forced " << forced);
      RangingOptions how = options();
      how.PhaseSlopeForOnePath = N % 2 == 0;
      if (forced >= 0) {
        how.NumSignals = static_cast<unsigned char>(forced);
      }
      const PathSet found =
          Ranger(static_cast<std::uint32_t>(N), how).estimate(batch.data(), measurements.size());
      expectConsistent(found, measurements.size());
      for (std::size_t i = 0; i < measurements.size(); ++i) {
        EXPECT_LE(static_cast<float>(found.Offsets[i + 1] - found.Offsets[i]), found.NumSignals[i]);
      }
      if (N > 1) {
        for (const double distance : found.Distances) {
          EXPECT_TRUE(std::isfinite(distance));
        }
      }
    }
  }
}

// EXACT: a Ranger moves with all that it keeps.
TEST(Ranger, MovesWithItsThreads) {
  const std::vector<Samples> measurements = mixedMeasurements(30);
  const Samples batch = rows(measurements);
  Ranger first(30, options({}, 2));
  const PathSet expected = first.estimate(batch.data(), measurements.size());
  Ranger second(std::move(first));
  expectSame(second.estimate(batch.data(), measurements.size()), expected);
  Ranger third(64, options({}, 3));
  third = std::move(second);
  expectSame(third.estimate(batch.data(), measurements.size()), expected);
}

// BOUND: samples times a power of two give the same bits; any other factor rounds the samples, which
// moves nothing by a fine step. The ends of single precision are among the factors.
TEST(Ranger, TheUnitOfTheSamplesDoesNotMatter) {
  const Samples x = channel({{60e-9, 1.0, 0.2}, {180e-9, 0.6, 1.0}}, 64, 30.0, 9);
  const PathSet expected = estimateAlone(x, options());
  ASSERT_EQ(expected.Distances.size(), 2U);
  for (const float factor : {0x1p-100F, 0x1p100F, 1e-30F, 1e37F}) {
    Samples scaled = x;
    for (creal32_T& z : scaled) {
      z = {z.re * factor, z.im * factor};
    }
    const PathSet found = estimateAlone(scaled, options());
    ASSERT_EQ(found.Distances.size(), 2U) << factor;
    EXPECT_EQ(found.NumSignals, expected.NumSignals) << factor;
    for (std::size_t k = 0; k < 2; ++k) {
      EXPECT_NEAR(found.Distances[k], expected.Distances[k], 1.01 * fineStep_m(64, spacing_Hz))
          << factor;
    }
  }
}

// EXACT: powers of two only move the exponent, and the closed form takes angles.
TEST(Ranger, TheUnitOfTheSamplesDoesNotMatterToTheClosedForm) {
  const Samples x = channel({{60e-9, 1.0, 0.2}}, 64, 30.0, 9);
  const PathSet expected = estimateAlone(x, options());
  ASSERT_EQ(expected.PeakValues, std::vector<float>{1.0F});
  for (const float factor : {0x1p-100F, 0x1p-60F, 0x1p60F, 0x1p120F}) {
    Samples scaled = x;
    for (creal32_T& z : scaled) {
      z = {z.re * factor, z.im * factor};
    }
    const PathSet found = estimateAlone(scaled, options());
    EXPECT_EQ(found.Distances, expected.Distances) << factor;
    EXPECT_EQ(found.NumSignals, expected.NumSignals) << factor;
  }
}

TEST(Ranger, OneThatWasMovedFromSaysSo) {
  Ranger first(16, options());
  const Ranger second(std::move(first));
  const Samples x(16);
  // NOLINTNEXTLINE(bugprone-use-after-move): that is what is tested.
  EXPECT_THROW(first.estimate(x.data(), 1), std::logic_error);
}

TEST(Ranger, MoreThreadsThanAnyMachineHasAreRefused) {
  RangingOptions how = options();
  how.Threads = 1025;
  EXPECT_THROW(Ranger(16, how), std::invalid_argument);
}
