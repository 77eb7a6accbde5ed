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
#include "tests/support/columns.h"
#include "tests/support/ranging.h"
#include "tests/support/same_bits.h"

using flightpath::CsiRows;
using flightpath::Outcome;
using flightpath::PathSet;
using flightpath::Ranger;
using flightpath::RangingOptions;
using support::Columns;
using support::columnsOf;
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

void expectSame(const Columns& a, const Columns& b) {
  EXPECT_EQ(a.offsets, b.offsets);
  expectSame(a.distances_m, b.distances_m, "distance");
  expectSame(a.delays_s, b.delays_s, "delay");
  expectSame(a.peaks_dB, b.peaks_dB, "peak");
  EXPECT_EQ(a.numSignals, b.numSignals);
  EXPECT_EQ(a.outcomes, b.outcomes);
}

void expectSame(const PathSet& a, const Columns& b) { expectSame(columnsOf(a), b); }
void expectSame(const PathSet& a, const PathSet& b) { expectSame(columnsOf(a), columnsOf(b)); }

/// Puts b behind a: what a batch of both must give.
void append(Columns& a, const Columns& b) {
  const std::size_t before = a.distances_m.size();
  for (std::size_t i = 1; i < b.offsets.size(); ++i) {
    a.offsets.push_back(before + b.offsets[i]);
  }
  a.distances_m.insert(a.distances_m.end(), b.distances_m.begin(), b.distances_m.end());
  a.delays_s.insert(a.delays_s.end(), b.delays_s.begin(), b.delays_s.end());
  a.peaks_dB.insert(a.peaks_dB.end(), b.peaks_dB.begin(), b.peaks_dB.end());
  a.numSignals.insert(a.numSignals.end(), b.numSignals.begin(), b.numSignals.end());
  a.outcomes.insert(a.outcomes.end(), b.outcomes.begin(), b.outcomes.end());
}

/// Why there is no path is said exactly where there is none.
void expectConsistent(const PathSet& set, std::size_t count) {
  ASSERT_EQ(set.size(), count);
  EXPECT_TRUE(set.complete());
  ASSERT_EQ(set.offsets().size(), count + 1);
  EXPECT_EQ(set.offsets()[0], 0U);
  EXPECT_EQ(set.numSignals().size(), count);
  EXPECT_EQ(set.outcomes().size(), count);
  for (std::size_t i = 0; i < count; ++i) {
    EXPECT_LE(set.offsets()[i], set.offsets()[i + 1]);
    EXPECT_EQ(set[i].empty(), set[i].info().Result != Outcome::Found) << i;
  }
  const std::size_t paths = set.distances_m().size();
  EXPECT_EQ(set.offsets()[count], paths);
  EXPECT_EQ(set.delays_s().size(), paths);
  EXPECT_EQ(set.peaks_dB().size(), paths);
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
Columns oneByOne(const std::vector<Samples>& measurements, const RangingOptions& how) {
  Columns all;
  all.offsets = {0};
  for (const Samples& x : measurements) {
    append(all, columnsOf(estimateAlone(x, how)));
  }
  return all;
}

}  // namespace

// EXACT: the same bits alone, in a batch, and by any number of threads.
TEST(Ranger, ResultsDependOnTheMeasurementAlone) {
  for (const int N : {30, 64}) {
    const std::vector<Samples> measurements = mixedMeasurements(N);
    const Samples batch = rows(measurements);
    for (const std::optional<std::uint32_t> forced :
         {std::optional<std::uint32_t>(), std::optional<std::uint32_t>(1),
          std::optional<std::uint32_t>(3)}) {
      const Columns expected = oneByOne(measurements, options(forced));
      for (const unsigned threads : {1U, 2U, 3U, 5U, 40U}) {
        SCOPED_TRACE(testing::Message() << "N " << N << ", threads " << threads);
        Ranger ranger(static_cast<std::uint32_t>(N), options(forced, threads));
        expectSame(ranger.estimate({batch, static_cast<std::size_t>(N)}), expected);
        expectSame(ranger.estimate({batch, static_cast<std::size_t>(N)}), expected);
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
          how.NumPaths = static_cast<std::uint32_t>(forced);
        }
        Samples broken = good;
        (at % 2 == 0 ? broken[at].re : broken[at].im) = bad;
        const PathSet found = Ranger(N, how).estimate({rows({good, broken, good}), N});
        expectConsistent(found, 3);
        Columns expected = columnsOf(estimateAlone(good, how));
        append(expected, {{0, 0}, {}, {}, {}, {0}, {Outcome::BadSamples}});
        append(expected, columnsOf(estimateAlone(good, how)));
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
  EXPECT_THROW(Ranger(64, options(65536)), std::invalid_argument) << "more than any record has";
  for (const std::uint32_t snapshots : {0U, 65536U}) {
    RangingOptions how = options();
    how.SnapshotsPerEstimate = snapshots;
    EXPECT_THROW(Ranger(64, how), std::invalid_argument) << snapshots << " snapshots";
  }
}

TEST(Ranger, RowsThatAreNotItsOwnAreRefusedInWordsAndItStaysUsable) {
  const Samples x = channel({{150e-9, 1.0, 0.4}, {420e-9, 0.8, 2.0}}, 64, 30.0, 8);
  const Samples many(64 * 56);
  const creal32_T* const null = nullptr;
  RangingOptions pairs = options({}, 2);
  pairs.SnapshotsPerEstimate = 2;
  Ranger ranger(64, options({}, 2));
  Ranger ofPairs(64, pairs);
  struct Row {
    Ranger& ranger;
    CsiRows rows;
    const char* said;
  };
  const Row table[] = {
      {ranger, {null, 64, 64}, "the samples are null"},
      {ranger, {many, 56}, "rows of 56 samples, where 64 subcarriers are expected"},
      {ranger, many, "rows of 3584 samples, where 64 subcarriers are expected"},
      {ranger, {many.data(), 0, 0}, "rows of 0 samples, where 64 subcarriers are expected"},
      {ranger, {many.data(), 130, 64}, "130 samples are no whole number of rows of 64"},
      {ranger, {many.data(), 63, 64}, "63 samples are no whole number of rows of 64"},
      {ranger, {many.data(), 200, 64, 100}, ""},
      {ranger, {many.data(), 165, 64, 100}, "165 samples are no whole number of rows of 64 with a"},
      {ranger, {many, 64, 63}, "a row stride of 63 samples is shorter than a row of 64"},
      {ofPairs, {many.data(), 192, 64}, "3 rows are no multiple of SnapshotsPerEstimate, 2"},
  };
  for (const Row& row : table) {
    PathSet out = row.ranger.estimate({many.data(), 128, 64});
    try {
      row.ranger.estimate(row.rows, out);
      EXPECT_EQ(std::string(row.said), "") << "accepted";
    } catch (const std::invalid_argument& error) {
      EXPECT_NE(std::string(error.what()).find(row.said), std::string::npos) << error.what();
      EXPECT_NE(std::string(row.said), "") << error.what();
      EXPECT_TRUE(out.empty()) << "no answer of the call before";
    }
  }
  expectSame(ranger.estimate(x), estimateAlone(x, options()));
}

TEST(Ranger, AnEmptyBatchHasOffsetsOfZeroAlone) {
  const creal32_T unread = {1.0F, 0.0F};
  for (const unsigned threads : {1U, 3U}) {
    Ranger ranger(64, options({}, threads));
    for (const creal32_T* csi : {static_cast<const creal32_T*>(nullptr), &unread}) {
      const PathSet found = ranger.estimate({csi, 0, 64});
      EXPECT_EQ(support::toVector(found.offsets()), std::vector<std::size_t>{0});
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
  ranger.estimate({batch, 64}, out);
  expectConsistent(out, measurements.size());
  ASSERT_GT(out.distances_m().size(), 20U);
  ranger.estimate(measurements[2], out);
  expectSame(out, estimateAlone(measurements[2], options()));
  ranger.estimate({batch.data(), 0, 64}, out);
  expectConsistent(out, 0);
}

TEST(Ranger, ForcedCountsAreReportedAndBoundThePaths) {
  const Samples x =
      channel({{150e-9, 1.0, 0.4}, {520e-9, 0.9, 2.0}, {1100e-9, 0.8, 4.0}}, 64, 35.0, 3);
  for (const int forced : {0, 1, 2, 3, 20, 255, 65535}) {
    for (const bool slope : {true, false}) {
      RangingOptions how = options(static_cast<std::uint32_t>(forced));
      how.PhaseSlopeForOnePath = slope;
      const PathSet found = estimateAlone(x, how);
      expectConsistent(found, 1);
      EXPECT_EQ(found.numSignals()[0], forced);
      EXPECT_LE(found.distances_m().size(), static_cast<std::size_t>(forced));
    }
  }
  const PathSet three = estimateAlone(x, options(3));
  EXPECT_EQ(three.distances_m().size(), 3U);
}

// BOUND: noise-free, the mean phase slope has the rounding of N single-precision phase steps, far
// below a fine step; the search ends within half a fine step, and half more for the coarse axis.
TEST(Ranger, OnePathByTheClosedFormOrByTheSearch) {
  const double delay_s = 173e-9;
  const Samples x = channel({{delay_s, 1.0, 0.5}}, 64, noNoise, 1);
  for (const std::optional<std::uint32_t> forced :
       {std::optional<std::uint32_t>(), std::optional<std::uint32_t>(1)}) {
    for (const bool slope : {true, false}) {
      RangingOptions how = options(forced);
      how.PhaseSlopeForOnePath = slope;
      const PathSet found = estimateAlone(x, how);
      ASSERT_EQ(found.distances_m().size(), 1U) << slope;
      EXPECT_EQ(found.numSignals()[0], 1);
      EXPECT_EQ(found.peaks_dB()[0] == 1.0F, slope) << "1 marks the closed form";
      EXPECT_NEAR(found.distances_m()[0], delay_s * speedOfLight_mps, fineStep_m(64, spacing_Hz));
      EXPECT_EQ(found.delays_s()[0], found.distances_m()[0] / speedOfLight_mps);
    }
  }
}

TEST(Ranger, AllZeroHasNoSignalAndAConstantIsOnePathAtZero) {
  for (const std::size_t N : {8U, 30U, 64U}) {
    const PathSet zero = estimateAlone(Samples(N), options());
    EXPECT_EQ(zero.numSignals()[0], 0);
    EXPECT_TRUE(zero.distances_m().empty());
    const PathSet constant = estimateAlone(Samples(N, {0.5F, -2.0F}), options());
    EXPECT_EQ(constant.numSignals()[0], 1);
    ASSERT_EQ(constant.distances_m().size(), 1U);
    EXPECT_NEAR(constant.distances_m()[0], 0.0, fineStep_m(N, spacing_Hz));
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
    EXPECT_EQ(found.numSignals()[0], static_cast<int>(paths.size())) << row.why;
    ASSERT_EQ(found.distances_m().size(), paths.size()) << row.why;
    for (std::size_t k = 0; k < paths.size(); ++k) {
      EXPECT_NEAR(found.distances_m()[k], paths[k].delay_s * speedOfLight_mps,
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
        how.NumPaths = static_cast<std::uint32_t>(forced);
      }
      const PathSet found =
          Ranger(static_cast<std::uint32_t>(N), how).estimate({batch, static_cast<std::size_t>(N)});
      expectConsistent(found, measurements.size());
      for (std::size_t i = 0; i < measurements.size(); ++i) {
        EXPECT_LE(found[i].size(), static_cast<std::size_t>(found[i].info().NumSignals));
      }
      if (N > 1) {
        for (const double distance : found.distances_m()) {
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
  const PathSet expected = first.estimate({batch, 30});
  Ranger second(std::move(first));
  expectSame(second.estimate({batch, 30}), expected);
  Ranger third(64, options({}, 3));
  third = std::move(second);
  expectSame(third.estimate({batch, 30}), expected);
}

// BOUND: samples times a power of two give the same bits; any other factor rounds the samples, which
// moves nothing by a fine step. The ends of single precision are among the factors.
TEST(Ranger, TheUnitOfTheSamplesDoesNotMatter) {
  const Samples x = channel({{60e-9, 1.0, 0.2}, {180e-9, 0.6, 1.0}}, 64, 30.0, 9);
  const PathSet expected = estimateAlone(x, options());
  ASSERT_EQ(expected.distances_m().size(), 2U);
  for (const float factor : {0x1p-100F, 0x1p100F, 1e-30F, 1e37F}) {
    Samples scaled = x;
    for (creal32_T& z : scaled) {
      z = {z.re * factor, z.im * factor};
    }
    const PathSet found = estimateAlone(scaled, options());
    ASSERT_EQ(found.distances_m().size(), 2U) << factor;
    EXPECT_EQ(found.numSignals()[0], expected.numSignals()[0]) << factor;
    for (std::size_t k = 0; k < 2; ++k) {
      EXPECT_NEAR(found.distances_m()[k], expected.distances_m()[k],
                  1.01 * fineStep_m(64, spacing_Hz))
          << factor;
    }
  }
}

// EXACT: powers of two only move the exponent, and the closed form takes angles.
TEST(Ranger, TheUnitOfTheSamplesDoesNotMatterToTheClosedForm) {
  const Samples x = channel({{60e-9, 1.0, 0.2}}, 64, 30.0, 9);
  const PathSet expected = estimateAlone(x, options());
  ASSERT_EQ(support::toVector(expected.peaks_dB()), std::vector<float>{1.0F});
  for (const float factor : {0x1p-100F, 0x1p-60F, 0x1p60F, 0x1p120F}) {
    Samples scaled = x;
    for (creal32_T& z : scaled) {
      z = {z.re * factor, z.im * factor};
    }
    const PathSet found = estimateAlone(scaled, options());
    EXPECT_EQ(support::toVector(found.distances_m()), support::toVector(expected.distances_m()))
        << factor;
    EXPECT_EQ(found.numSignals()[0], expected.numSignals()[0]) << factor;
  }
}

TEST(Ranger, OneThatWasMovedFromSaysSo) {
  Ranger first(16, options());
  const Ranger second(std::move(first));
  const Samples x(16);
  // NOLINTNEXTLINE(bugprone-use-after-move): that is what is tested.
  EXPECT_THROW(first.estimate(x), std::logic_error);
}

TEST(Ranger, MoreThreadsThanAnyMachineHasAreRefused) {
  RangingOptions how = options();
  how.Threads = 1025;
  EXPECT_THROW(Ranger(16, how), std::invalid_argument);
}
