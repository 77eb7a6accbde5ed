// LineOfSight under whatever floating-point modes its host has set.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <vector>

#include "flightpath/line_of_sight/line_of_sight.h"
#include "tests/floats/host_calls.h"
#include "tests/floats/host_modes.h"
#include "tests/support/direct_paths.h"
#include "tests/support/same_bits.h"

using flightpath::LineOfSight;
using flightpath::LineOfSightOptions;
using support::Answer;
using support::HostMode;
using support::Record;
using support::UnderMode;

namespace {

LineOfSight makeLineOfSight(int N, unsigned threads) {
  LineOfSightOptions how;
  how.SubcarrierSpacing = support::recordSpacing_Hz;
  how.Threads = threads;
  return LineOfSight(static_cast<std::uint32_t>(N), how);
}

Answer look(LineOfSight& lineOfSight, const Record& rows, int N) {
  return support::everythingIn(lineOfSight.estimate({rows, static_cast<std::size_t>(N)}));
}

/// Ordinary ones, one of noise and path in subnormal numbers, and one of zeros.
Record rowsOf(int N) {
  Record rows;
  for (const Record& x : support::ordinaryRecords(N)) {
    rows.insert(rows.end(), x.begin(), x.end());
  }
  for (const creal32_T z : support::ordinaryRecord(N, 1, 10.0, 3)) {
    rows.push_back({z.re * 0x1p-135F, z.im * 0x1p-135F});
  }
  rows.resize(rows.size() + static_cast<std::size_t>(N));
  return rows;
}

std::vector<HostMode> everyMode() {
  std::vector<HostMode> modes(support::flushModes.begin(), support::flushModes.end());
  modes.insert(modes.end(), support::roundingModes.begin(), support::roundingModes.end());
  return modes;
}

}  // namespace

// EXACT: whether it is made or used under a mode, alone or by threads, its answers are the same.
TEST(LineOfSightHostModes, ChangeNoBit) {
  for (const int N : {4, 30, 64}) {
    const Record rows = rowsOf(N);
    LineOfSight ordinary = makeLineOfSight(N, 1);
    const Answer expected = look(ordinary, rows, N);
    for (const HostMode& mode : everyMode()) {
      SCOPED_TRACE(testing::Message() << mode.name << ", N " << N);
      Answer used;
      Answer made;
      Answer madeWithThreads;
      {
        const UnderMode under(mode);
        used = look(ordinary, rows, N);
        LineOfSight one = makeLineOfSight(N, 1);
        LineOfSight three = makeLineOfSight(N, 3);
        made = look(one, rows, N);
        madeWithThreads = look(three, rows, N);
      }
      EXPECT_TRUE(support::sameBits(used, expected));
      EXPECT_TRUE(support::sameBits(made, expected));
      EXPECT_TRUE(support::sameBits(madeWithThreads, expected));
    }
  }
}

// EXACT: the bits of MXCSR and of the x87 control word.
TEST(LineOfSightHostModes, AreLeftAsTheyWereFound) {
  const Record rows = rowsOf(30);
  for (const HostMode& mode : everyMode()) {
    SCOPED_TRACE(mode.name);
    const UnderMode under(mode);
    const support::FloatUnits before = support::floatUnits();
    LineOfSight lineOfSight = makeLineOfSight(30, 2);
    look(lineOfSight, rows, 30);
    EXPECT_THROW(makeLineOfSight(3, 1), std::invalid_argument);
    EXPECT_THROW(look(lineOfSight, rows, 29), std::invalid_argument);
    EXPECT_TRUE(support::sameControls(support::floatUnits(), before));
  }
}

// Noise alone leaves no tail and no path: logarithms of nothing are taken, and must not end the host.
TEST(LineOfSightHostModes, TrappingExceptionsDoNotStopIt) {
  if (!support::trapsCanBeWatched) {
    GTEST_SKIP() << "the sanitizer handles SIGFPE";
  }
  const Record rows = rowsOf(30);
  for (const unsigned threads : {1U, 3U}) {
    EXPECT_TRUE(support::endsWithTrapsOn([&] {
      LineOfSight lineOfSight = makeLineOfSight(30, threads);
      look(lineOfSight, rows, 30);
    })) << threads;
  }
}
