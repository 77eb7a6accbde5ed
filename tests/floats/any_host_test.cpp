#include <fpu_control.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "flightpath/runtime/nonfinite.h"
#include "tests/floats/host_calls.h"
#include "tests/floats/host_modes.h"
#include "tests/support/same_bits.h"

using flightpath::Ranger;
using support::allAnswers;
using support::Answer;
using support::HostMode;
using support::Record;
using support::RouteCalls;
using support::UnderMode;

namespace {

void setSinglePrecisionOfX87() {
  fpu_control_t control = 0;
  _FPU_GETCW(control);
  control = static_cast<fpu_control_t>(control & ~_FPU_EXTENDED);
  _FPU_SETCW(control);
}

std::vector<HostMode> everyMode() {
  std::vector<HostMode> modes(support::flushModes.begin(), support::flushModes.end());
  modes.insert(modes.end(), support::roundingModes.begin(), support::roundingModes.end());
  modes.push_back({"x87 at 24 bits", setSinglePrecisionOfX87});
  return modes;
}

/// Ordinary ones, and some whose arithmetic is not: subnormal, overflowing, not finite, none.
std::vector<Record> recordsOf(int N) {
  std::vector<Record> records = support::ordinaryRecords(N);
  records.emplace_back(static_cast<std::size_t>(N));
  records.emplace_back(static_cast<std::size_t>(N), creal32_T{0.5F, -2.0F});
  const Record good = records.front();
  for (const float factor : {1e-19F, 1e-22F, 1e-38F, 1e19F, 1e37F}) {
    Record scaled = good;
    for (creal32_T& z : scaled) {
      z = {z.re * factor, z.im * factor};
    }
    records.push_back(scaled);
  }
  Record notFinite = good;
  notFinite[0].re = rtGetNaNF();
  records.push_back(notFinite);
  return records;
}

void expectSame(const std::vector<Answer>& a, const std::vector<Answer>& b) {
  ASSERT_EQ(a.size(), b.size());
  for (std::size_t call = 0; call < a.size(); ++call) {
    ASSERT_EQ(a[call].size(), b[call].size()) << "call " << call;
    for (std::size_t k = 0; k < a[call].size(); ++k) {
      ASSERT_TRUE(support::sameBits(a[call][k], b[call][k])) << "call " << call << ", " << k;
    }
  }
}

}  // namespace

// EXACT: answers depend on the arguments alone.
TEST(AnyHost, GetsTheSameBits) {
  for (const int N : {1, 2, 3, 8, 30, 64}) {
    const RouteCalls routes(N);
    for (const Record& x : recordsOf(N)) {
      const std::vector<Answer> expected = allAnswers(x, routes);
      for (const HostMode& mode : everyMode()) {
        SCOPED_TRACE(testing::Message() << mode.name << ", N " << N);
        std::vector<Answer> found;
        {
          const UnderMode under(mode);
          found = allAnswers(x, routes);
        }
        expectSame(found, expected);
      }
    }
  }
}

TEST(AnyHost, IsNotStoppedByATrap) {
  if (!support::trapsCanBeWatched) {
    GTEST_SKIP() << "the sanitizer handles SIGFPE";
  }
  for (const int N : {1, 2, 8, 30, 64}) {
    const RouteCalls routes(N);
    for (const Record& x : recordsOf(N)) {
      EXPECT_TRUE(support::endsWithTrapsOn([&] { allAnswers(x, routes); })) << N;
    }
  }
}

// EXACT: what a call raised inside is not left for a host that asks for its own exceptions.
TEST(AnyHost, FindsItsExceptionFlagsAsTheyWere) {
  const RouteCalls routes(30);
  for (const Record& x : recordsOf(30)) {
    for (const int raised : {0, FE_INEXACT | FE_DIVBYZERO}) {
      feclearexcept(FE_ALL_EXCEPT);
      feraiseexcept(raised);
      allAnswers(x, routes);
      EXPECT_EQ(fetestexcept(FE_ALL_EXCEPT), raised);
    }
  }
  feclearexcept(FE_ALL_EXCEPT);
}

// EXACT: whenever the host sets the mode, and however many threads there are.
TEST(AnyHost, MaySetItsModesBeforeOrAfterARangerIsMade) {
  const std::vector<Record> records = recordsOf(30);
  Record rows;
  for (const Record& x : records) {
    rows.insert(rows.end(), x.begin(), x.end());
  }
  for (const unsigned threads : {1U, 3U}) {
    for (const flightpath::RangingOptions& how : support::rangersFor(-1, threads)) {
      Ranger before(30, how);
      const std::vector<Answer> expected = {support::byRanger(before, rows, records.size())};
      for (const HostMode& mode : everyMode()) {
        SCOPED_TRACE(testing::Message() << mode.name << ", threads " << threads);
        const UnderMode under(mode);
        expectSame({support::byRanger(before, rows, records.size())}, expected);
        Ranger after(30, how);
        expectSame({support::byRanger(after, rows, records.size())}, expected);
      }
    }
  }
}
