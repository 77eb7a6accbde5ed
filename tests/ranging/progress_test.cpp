#include "flightpath/ranging/progress.h"

#include <gtest/gtest.h>

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

using Clock = std::chrono::steady_clock;

constexpr std::size_t N = 114;

/// As many rows as take a few times 50 ms on any machine: the same few again and again.
Samples longBatch(std::size_t rows) {
  std::mt19937_64 random(1);
  Samples all;
  for (std::size_t i = 0; i < rows; ++i) {
    if (i < 8) {
      const auto paths = support::randomPaths(static_cast<int>(i % 4), N, random);
      const Samples x = simulateChannel(paths, {N, spacing_Hz, 25.0}, random);
      all.insert(all.end(), x.begin(), x.end());
    } else {
      const auto from = static_cast<std::ptrdiff_t>((i % 8) * N);
      const Samples x(all.begin() + from, all.begin() + from + N);
      all.insert(all.end(), x.begin(), x.end());
    }
  }
  return all;
}

/// Drives a pacer with slices that take a given time.
std::vector<std::size_t> slicesTaken(ProgressPacer& pacer, std::chrono::milliseconds each) {
  std::vector<std::size_t> slices;
  for (bool goOn = true; goOn;) {
    slices.push_back(pacer.nextSlice());
    std::this_thread::sleep_for(each);
    goOn = pacer.finish(slices.back());
  }
  return slices;
}

}  // namespace

TEST(ProgressPacer, WithoutACallbackTakesAllAtOnce) {
  const Progress none;
  ProgressPacer pacer(none, 1000, 2);
  EXPECT_EQ(pacer.nextSlice(), 1000U);
  EXPECT_FALSE(pacer.finish(1000));
  EXPECT_EQ(pacer.done(), 1000U);
}

TEST(ProgressPacer, SlicesGrowWhereTheyAreQuickAndEndWithTheBatch) {
  const Progress never = [](std::size_t, std::size_t) { return true; };
  ProgressPacer pacer(never, 100, 3);
  EXPECT_EQ(slicesTaken(pacer, std::chrono::milliseconds(0)),
            (std::vector<std::size_t>{3, 6, 12, 24, 48, 7}));
}

TEST(ProgressPacer, SlicesShrinkWhereTheyAreSlow) {
  const Progress always = [](std::size_t, std::size_t) { return true; };
  ProgressPacer pacer(always, 20, 2);
  std::vector<std::size_t> slices;
  for (bool goOn = true; goOn;) {
    slices.push_back(pacer.nextSlice());
    // The first two are quick, the others slow.
    std::this_thread::sleep_for(std::chrono::milliseconds(slices.size() < 3 ? 0 : 30));
    goOn = pacer.finish(slices.back());
  }
  EXPECT_EQ(slices, (std::vector<std::size_t>{2, 4, 8, 4, 2}));
}

TEST(Progress, IsToldFromTheCallersThread_AtMostEvery50ms_AscendingAndNeverOfTheEnd) {
  const Samples batch = longBatch(3000);
  const auto caller = std::this_thread::get_id();
  for (const unsigned threads : {1U, 3U}) {
    std::vector<Clock::time_point> times = {Clock::now()};
    std::vector<std::size_t> done = {0};
    Ranger ranger(N, options({}, threads));
    const PathSet found = ranger.estimate({batch, N}, [&](std::size_t soFar, std::size_t total) {
      times.push_back(Clock::now());
      done.push_back(soFar);
      EXPECT_EQ(std::this_thread::get_id(), caller);
      EXPECT_EQ(total, 3000U);
      return true;
    });
    ASSERT_GT(done.size(), 1U) << "a longer batch is needed on this machine";
    for (std::size_t i = 1; i < done.size(); ++i) {
      EXPECT_GE(times[i] - times[i - 1], std::chrono::milliseconds(50));
      EXPECT_GT(done[i], done[i - 1]);
      EXPECT_LT(done[i], 3000U);
    }
    EXPECT_TRUE(found.complete());
    EXPECT_EQ(columnsOf(found).distances_m, columnsOf(ranger.estimate({batch, N})).distances_m);
  }
}

// EXACT: the first estimates of the whole batch's answer, in its order, on any number of threads.
TEST(Progress, AfterAStopWhatWasFinishedIsThereAndSaysSo) {
  const Samples batch = longBatch(3000);
  for (const unsigned threads : {1U, 3U}) {
    Ranger ranger(N, options({}, threads));
    std::size_t stoppedAt = 0;
    const PathSet part = ranger.estimate({batch, N}, [&](std::size_t done, std::size_t) {
      stoppedAt = done;
      return false;
    });
    EXPECT_FALSE(part.complete());
    ASSERT_EQ(part.size(), stoppedAt);
    ASSERT_LT(stoppedAt, 3000U);
    const PathSet first = ranger.estimate({batch.data(), stoppedAt * N, N});
    EXPECT_TRUE(first.complete());
    EXPECT_EQ(columnsOf(part).distances_m, columnsOf(first).distances_m);
    EXPECT_EQ(columnsOf(part).offsets, columnsOf(first).offsets);
    EXPECT_EQ(columnsOf(part).outcomes, columnsOf(first).outcomes);
  }
}

TEST(Progress, WhatItThrowsReachesTheCaller_AndTheRangerWorksOn) {
  const Samples batch = longBatch(3000);
  Ranger ranger(N, options({}, 2));
  PathSet out = ranger.estimate({batch.data(), N, N});
  EXPECT_THROW(ranger.estimate(
                   {batch, N}, out,
                   [](std::size_t, std::size_t) -> bool { throw std::runtime_error("no more"); }),
               std::runtime_error);
  EXPECT_TRUE(out.empty());
  EXPECT_EQ(ranger.estimate({batch.data(), 3 * N, N}).size(), 3U);
}

TEST(Progress, IsNotToldOfAShortBatch) {
  const Samples batch = longBatch(8);
  int calls = 0;
  Ranger ranger(N, options());
  ranger.estimate({batch.data(), N, N}, [&](std::size_t, std::size_t) {
    ++calls;
    return true;
  });
  EXPECT_EQ(calls, 0);
}
