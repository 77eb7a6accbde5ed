#include "tests/floats/host_modes.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <stdexcept>
#include <vector>

#include "tests/floats/host_calls.h"
#include "tests/support/same_bits.h"

using flightpath::Ranger;
using support::allAnswers;
using support::Answer;
using support::FloatUnits;
using support::floatUnits;
using support::HostMode;
using support::ordinaryRecords;
using support::Record;
using support::RouteCalls;
using support::sameControls;
using support::UnderMode;

namespace {

void expectSame(const Answer& a, const Answer& b) {
  ASSERT_EQ(a.size(), b.size());
  for (std::size_t k = 0; k < a.size(); ++k) {
    ASSERT_TRUE(support::sameBits(a[k], b[k])) << k << ": " << a[k] << " and " << b[k];
  }
}

std::vector<HostMode> everyMode() {
  std::vector<HostMode> modes(support::flushModes.begin(), support::flushModes.end());
  modes.insert(modes.end(), support::roundingModes.begin(), support::roundingModes.end());
  return modes;
}

Record rowsOf(const std::vector<Record>& records) {
  Record rows;
  for (const Record& x : records) {
    rows.insert(rows.end(), x.begin(), x.end());
  }
  return rows;
}

void estimateWithoutCoarseStep(const Record& x) {
  MUSICParameters p = support::parametersFor(support::allRoutes[1], static_cast<int>(x.size()));
  p.CoarseResolution = 0.0F;
  support::byMUSIC1D(x, p);
}

}  // namespace

// EXACT: nothing on the way of samples of size 1 is so small that a subnormal decides.
TEST(HostModes, FlushingSubnormalsChangesNoOrdinaryAnswer) {
  for (const int N : {1, 2, 3, 8, 30, 64}) {
    const RouteCalls routes(N);
    for (const Record& x : ordinaryRecords(N)) {
      const std::vector<Answer> expected = allAnswers(x, routes);
      for (const HostMode& mode : support::flushModes) {
        SCOPED_TRACE(testing::Message() << mode.name << ", N " << N);
        std::vector<Answer> found;
        {
          const UnderMode under(mode);
          found = allAnswers(x, routes);
        }
        ASSERT_EQ(found.size(), expected.size());
        for (std::size_t k = 0; k < found.size(); ++k) {
          SCOPED_TRACE(testing::Message() << "call " << k);
          expectSame(found[k], expected[k]);
        }
      }
    }
  }
}

// EXACT: the bits of MXCSR and of the x87 control word, and no other rounding mode.
TEST(HostModes, AreLeftAsTheyWereFound) {
  constexpr int N = 30;
  const Record x = support::ordinaryRecord(N, 2, 30.0, 1);
  const RouteCalls routes(N);
  for (const HostMode& mode : everyMode()) {
    SCOPED_TRACE(mode.name);
    const UnderMode under(mode);
    const FloatUnits before = floatUnits();
    const int rounding = fegetround();
    allAnswers(x, routes);
    EXPECT_TRUE(sameControls(floatUnits(), before));
    EXPECT_EQ(fegetround(), rounding);
  }
}

TEST(HostModes, AreLeftAsTheyWereFoundWhereACallThrows) {
  const Record x = support::ordinaryRecord(30, 2, 30.0, 1);
  for (const HostMode& mode : everyMode()) {
    SCOPED_TRACE(mode.name);
    const UnderMode under(mode);
    const FloatUnits before = floatUnits();
    EXPECT_THROW(estimateWithoutCoarseStep(x), std::length_error);
    EXPECT_THROW(Ranger(0, support::rangingOptions(-1, 1)), std::invalid_argument);
    Ranger ranger(30, support::rangingOptions(-1, 3));
    EXPECT_THROW(ranger.estimate({static_cast<const creal32_T*>(nullptr), 30, 30}),
                 std::invalid_argument);
    EXPECT_TRUE(sameControls(floatUnits(), before));
  }
}

// EXACT: a thread has the modes of the one that started it.
TEST(HostModes, SetBeforeARangerTheyHoldForAllItsThreads) {
  const std::vector<Record> records = ordinaryRecords(30);
  const Record rows = rowsOf(records);
  for (const HostMode& mode : everyMode()) {
    SCOPED_TRACE(mode.name);
    const UnderMode under(mode);
    const auto alone = support::rangersFor(-1, 1);
    const auto team = support::rangersFor(-1, 3);
    for (std::size_t method = 0; method < alone.size(); ++method) {
      Ranger one(30, alone[method]);
      Ranger three(30, team[method]);
      expectSame(support::byRanger(three, rows, records.size()),
                 support::byRanger(one, rows, records.size()));
    }
  }
}

// The structured engine divides by nothing and overflows nowhere.
TEST(HostModes, TrappingExceptionsDoNotStopARanger) {
  if (!support::trapsCanBeWatched) {
    GTEST_SKIP() << "the sanitizer handles SIGFPE";
  }
  for (const int N : {8, 30, 64}) {
    const std::vector<Record> records = ordinaryRecords(N);
    const Record rows = rowsOf(records);
    for (const int forced : support::hostForcedCounts) {
      for (const unsigned threads : {1U, 3U}) {
        EXPECT_TRUE(support::endsWithTrapsOn([&] {
          for (const flightpath::RangingOptions& how : support::rangersFor(forced, threads)) {
            Ranger ranger(static_cast<std::uint32_t>(N), how);
            support::byRanger(ranger, rows, records.size());
          }
        })) << "N "
            << N << ", forced " << forced << ", threads " << threads;
      }
    }
  }
}

// That a trap would have been noticed.
TEST(HostModes, ATrapEndsTheChild) {
  if (!support::trapsCanBeWatched) {
    GTEST_SKIP() << "the sanitizer handles SIGFPE";
  }
  const volatile float zero = 0.0F;
  volatile float result = 0.0F;
  EXPECT_FALSE(support::endsWithTrapsOn([&] { result = 1.0F / zero; }));
  EXPECT_TRUE(support::endsWithTrapsOn([&] { result = 1.0F + zero; }));
}
