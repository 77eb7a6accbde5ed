#include <gtest/gtest.h>

#include <cfenv>
#include <chrono>
#include <cstddef>
#include <random>
#include <stdexcept>
#include <thread>
#include <vector>

#include "flightpath/ranging/detail/progress_pacer.h"
#include "simulated_channel.h"
#include "tests/support/columns.h"
#include "tests/support/ranging.h"

using flightpath::PathSet;
using flightpath::Progress;
using flightpath::ProgressPacer;
using flightpath::Ranger;
using support::columnsOf;
using support::options;
using support::Samples;
using support::spacing_Hz;

namespace {

constexpr std::size_t N = 114;

Samples distinctRows(std::size_t rows) {
  std::mt19937_64 random(1);
  Samples all;
  for (std::size_t i = 0; i < rows; ++i) {
    const auto paths = support::randomPaths(1 + static_cast<int>(i % 3), N, random);
    const Samples x = simulateChannel(paths, {N, spacing_Hz, 25.0}, random);
    all.insert(all.end(), x.begin(), x.end());
  }
  return all;
}

/// Drives a pacer with estimates of 0.2 ms; gives up after so many reports.
std::size_t reportsOf(std::size_t total, std::chrono::milliseconds callback) {
  std::size_t reports = 0;
  const Progress slow = [&](std::size_t, std::size_t) {
    std::this_thread::sleep_for(callback);
    return ++reports < 20;
  };
  ProgressPacer pacer(slow, total, 1);
  for (bool goOn = true; goOn;) {
    const std::size_t slice = pacer.nextSlice();
    std::this_thread::sleep_for(slice * std::chrono::microseconds(200));
    goOn = pacer.finish(slice);
  }
  return reports;
}

}  // namespace

// 1000 estimates of 0.2 ms are 0.2 s of work: 4 reports, and a few for a busy machine. The time that the
// callback itself takes is neither work nor part of the 50 ms between two reports.
TEST(ProgressPacer, ASlowCallbackIsNotCalledMoreOften) {
  EXPECT_LE(reportsOf(1000, std::chrono::milliseconds(60)), 8U);
}

// A slice with fewer estimates than threads would leave threads without work.
TEST(ProgressPacer, SlicesNeverFallBelowTheFirst_WhichHasOneEstimatePerThread) {
  const Progress always = [](std::size_t, std::size_t) { return true; };
  ProgressPacer pacer(always, 20, 4);
  for (bool goOn = true; goOn;) {
    const std::size_t slice = pacer.nextSlice();
    EXPECT_EQ(slice, 4U);
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    goOn = pacer.finish(slice);
  }
}

// EXACT: also where a slice does not begin at the first estimate, a group is S rows from S times its number.
TEST(Progress, SlicesOfGroupsAreThoseOfTheWholeBatch) {
  const Samples batch = distinctRows(3000);
  for (const unsigned threads : {1U, 3U}) {
    flightpath::RangingOptions how = options({}, threads);
    how.SnapshotsPerEstimate = 2;
    Ranger ranger(N, how);
    int reports = 0;
    const PathSet sliced = ranger.estimate({batch, N}, [&](std::size_t, std::size_t total) {
      EXPECT_EQ(total, 1500U);
      ++reports;
      return true;
    });
    ASSERT_GT(reports, 0) << "a longer batch is needed on this machine";
    const PathSet whole = ranger.estimate({batch, N});
    EXPECT_EQ(columnsOf(sliced).offsets, columnsOf(whole).offsets);
    EXPECT_EQ(columnsOf(sliced).distances_m, columnsOf(whole).distances_m);
  }
}

TEST(Progress, ASetThatHeldAStoppedBatchIsCompleteAfterTheNext) {
  const Samples batch = distinctRows(3000);
  Ranger ranger(N, options());
  PathSet out;
  ranger.estimate({batch, N}, out, [](std::size_t, std::size_t) { return false; });
  ASSERT_FALSE(out.complete()) << "a longer batch is needed on this machine";
  ranger.estimate({batch.data(), 2 * N, N}, out);
  EXPECT_TRUE(out.complete());
  EXPECT_EQ(out.size(), 2U);
}

TEST(Progress, WhatItThrowsLeavesNoColumnBehind) {
  const Samples batch = distinctRows(3000);
  Ranger ranger(N, options());
  PathSet out;
  EXPECT_THROW(ranger.estimate(
                   {batch, N}, out,
                   [](std::size_t, std::size_t) -> bool { throw std::runtime_error("no more"); }),
               std::runtime_error);
  EXPECT_EQ(out.size(), 0U);
  EXPECT_EQ(support::toVector(out.offsets()), std::vector<std::size_t>{0});
  EXPECT_TRUE(out.distances_m().empty());
  EXPECT_TRUE(out.delays_s().empty());
  EXPECT_TRUE(out.peaks_dB().empty());
  EXPECT_TRUE(out.numSignals().empty());
  EXPECT_TRUE(out.outcomes().empty());
}

// EXACT: the modes that the callback leaves behind are the caller's, not the estimates'.
TEST(Progress, ModesThatTheCallbackSetsDoNotReachTheEstimates) {
  const Samples batch = distinctRows(3000);
  Ranger ranger(N, options());
  const PathSet expected = ranger.estimate({batch, N});
  int reports = 0;
  const PathSet found = ranger.estimate({batch, N}, [&](std::size_t, std::size_t) {
    std::fesetround(FE_UPWARD);
    ++reports;
    return true;
  });
  std::fesetround(FE_TONEAREST);
  ASSERT_GT(reports, 0) << "a longer batch is needed on this machine";
  EXPECT_EQ(columnsOf(found).distances_m, columnsOf(expected).distances_m);
  EXPECT_EQ(columnsOf(found).peaks_dB, columnsOf(expected).peaks_dB);
}
