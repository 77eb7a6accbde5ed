#include <cblas.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/blas_threads.h"
#include "tests/support/call_counter.h"
#include "tests/support/columns.h"
#include "tests/support/ranging.h"
#include "tests/threads/together.h"

using flightpath::PathSet;
using flightpath::Ranger;
using flightpath::RangingOptions;
using support::options;
using support::Samples;

// EXACT: whatever a host has set BLAS to since.
TEST(Ranger, SetsBlasToOneThreadOnEveryCall) {
  Ranger ranger(16, options());
  const Samples x(16, {1.0F, 0.5F});
  for (int call = 0; call < 3; ++call) {
    support::CallLog log;
    ranger.estimate(x);
    const support::CallLines lines = log.take();
    ASSERT_FALSE(lines.empty()) << call;
    EXPECT_EQ(lines.front(), "blas threads 1") << call;
    EXPECT_EQ(std::ranges::count(lines, "blas threads 1"), 1) << call;
  }
}

// EXACT: before the call sets anything else, and after everything else.
TEST(Ranger, GivesTheHostsCountOfBlasThreadsBackAfterEveryCall) {
  const support::BlasThreads host(2);
  Ranger ranger(16, options());
  EXPECT_EQ(openblas_get_num_threads(), 2) << "the constructor";
  const Samples x(16, {1.0F, 0.5F});
  for (int call = 0; call < 3; ++call) {
    support::CallLog log;
    ranger.estimate(x);
    const support::CallLines lines = log.take();
    ASSERT_GE(lines.size(), 2U) << call;
    EXPECT_EQ(lines.front(), "blas threads 1") << call;
    EXPECT_EQ(lines.back(), "blas threads 2") << call;
    EXPECT_EQ(openblas_get_num_threads(), 2) << call;
  }
}

// EXACT
TEST(Ranger, GivesTheHostsCountOfBlasThreadsBackWhereACallThrows) {
  const support::BlasThreads host(2);
  Ranger ranger(16, options());
  EXPECT_THROW(ranger.estimate({Samples(17), 17}), std::invalid_argument);
  EXPECT_EQ(openblas_get_num_threads(), 2);
  std::optional<int> during;
  const auto fail = [&](std::size_t, std::size_t) -> bool {
    during = openblas_get_num_threads();
    throw std::runtime_error("by the callback");
  };
  constexpr std::size_t rows = 50000;  // more than 50 ms on any machine
  EXPECT_THROW(ranger.estimate({Samples(16 * rows, {1.0F, 0.5F}), 16}, fail), std::runtime_error);
  EXPECT_EQ(during, 1);
  EXPECT_EQ(openblas_get_num_threads(), 2);
}

// EXACT: whichever of them ends last.
TEST(Ranger, GivesTheHostsCountOfBlasThreadsBackBesideOthers) {
  const support::BlasThreads host(2);
  const Samples rows(16 * std::size_t{20}, {1.0F, 0.5F});
  support::together(4, [&](int number) {
    Ranger ranger(16, options({}, 1 + static_cast<unsigned>(number) % 2));
    for (int call = 0; call < 50; ++call) {
      ranger.estimate({rows, 16});
    }
  });
  EXPECT_EQ(openblas_get_num_threads(), 2);
}

// The largest that the headers allow.
TEST(Ranger, TheLimitsThemselvesAreAccepted) {
  RangingOptions how = options(65535);
  how.SnapshotsPerEstimate = 65535;
  EXPECT_NO_THROW(Ranger(1, how));
  EXPECT_EQ(Ranger(1, how).estimate({Samples(65535, {1.0F, 0.0F}), 1}).size(), 1U);
  how.SnapshotsPerEstimate = 1;
  how.Threads = 1024;
  EXPECT_NO_THROW(Ranger(1, how));
}

// Whatever spacing is accepted, distances are finite: within half of the unambiguous range.
TEST(Ranger, DistancesOfTheSmallestSpacingsAreFinite) {
  constexpr int N = 64;
  std::vector<std::complex<float>> x;
  for (int k = 0; k < N; ++k) {
    x.push_back(std::polar(1.0F, -6.2831853F * 0.4F * static_cast<float>(k)));
  }
  int accepted = 0;
  for (const double spacing : {1e-20, 1e-30, 1e-31, 1e-32, 1e-33}) {
    try {
      Ranger ranger(N, support::withSpacing(spacing));
      ++accepted;
      const PathSet found = ranger.estimate(x);
      ASSERT_EQ(found[0].size(), 1U);
      EXPECT_TRUE(std::isfinite(found[0][0].Distance_m)) << spacing;
    } catch (const std::invalid_argument&) {
    }
  }
  EXPECT_GE(accepted, 1);
}
