#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "flightpath/ranging/ranger.h"
#include "tests/floats/bad_values.h"
#include "tests/floats/records.h"
#include "tests/support/columns.h"
#include "tests/support/same_bits.h"

using flightpath::Outcome;
using flightpath::PathSet;
using flightpath::Ranger;
using flightpath::RangingMethod;
using flightpath::RangingOptions;
using support::BadValue;
using support::badValues;
using support::everythingIn;
using support::forcedCount;
using support::Part;
using support::Record;
using support::sameBits;
using support::withSample;

namespace {

constexpr double halfPeriod_m = 0.5 * support::lightSpeed_mps / support::recordSpacing_Hz;

/// Half the period, and what the fine grid reaches beyond it: a coarse step.
double farthest_m(int N) { return halfPeriod_m * (1.0 + 2.0 / (30.0 * N) + 1e-6); }

void expectSame(const PathSet& a, const PathSet& b) {
  EXPECT_TRUE(sameBits(everythingIn(a), everythingIn(b)));
}

void expectConsistent(const PathSet& found) {
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].size(), found.distances_m().size());
  EXPECT_EQ(found.delays_s().size(), found.distances_m().size());
  EXPECT_EQ(found.peaks_dB().size(), found.distances_m().size());
  EXPECT_LE(found[0].size(), static_cast<std::size_t>(found[0].info().NumSignals));
}

void expectNoPath(const PathSet& found, Outcome why) {
  expectConsistent(found);
  EXPECT_EQ(found.numSignals()[0], 0);
  EXPECT_EQ(found.outcomes()[0], why);
  EXPECT_TRUE(found.distances_m().empty());
}

/// Calls check(record, bad value, where) with every part of every sample replaced by every bad value.
template <class Check>
void forEverySpoiltRecord(const Record& good, Check check) {
  for (const BadValue& bad : badValues) {
    for (std::size_t at = 0; at < good.size(); ++at) {
      for (const Part part : {Part::Real, Part::Imaginary, Part::Both}) {
        SCOPED_TRACE(testing::Message()
                     << bad.name << " at " << at << ", part " << static_cast<int>(part));
        check(withSample(good, at, part, bad.value), bad.value);
      }
    }
  }
}

/// What holds with either method.
class RangerBadSamples : public testing::TestWithParam<RangingMethod> {
 protected:
  static RangingOptions options(int forced) {
    RangingOptions how;
    how.Method = GetParam();
    how.SubcarrierSpacing = support::recordSpacing_Hz;
    how.NumPaths = forcedCount(forced);
    return how;
  }
};

using RangerBadSpacing = RangerBadSamples;

constexpr RangingMethod bothMethods[] = {RangingMethod::Music, RangingMethod::MaximumLikelihood};

std::string name(const testing::TestParamInfo<RangingMethod>& info) {
  return info.param == RangingMethod::Music ? "Music" : "MaximumLikelihood";
}

INSTANTIATE_TEST_SUITE_P(Method, RangerBadSamples, testing::ValuesIn(bothMethods), name);
INSTANTIATE_TEST_SUITE_P(Method, RangerBadSpacing, testing::ValuesIn(bothMethods), name);

}  // namespace

// EXACT: the rule of non-finite samples; the search and the closed form answer any finite ones with
// finite paths within the period, from largest to smallest.
TEST_P(RangerBadSamples, NotFiniteMeansNoSignalAndFiniteMeansFinite) {
  for (const int N : {2, 3, 4, 13}) {
    for (const int forced : {-1, 0, 1, 2, 3, 255}) {
      SCOPED_TRACE(testing::Message() << "N " << N << ", forced " << forced);
      Ranger ranger(static_cast<std::uint32_t>(N), options(forced));
      forEverySpoiltRecord(support::ordinaryRecord(N, 2, 30.0, 4),
                           [&](const Record& x, float value) {
                             const PathSet found = ranger.estimate(x);
                             expectSame(ranger.estimate(x), found);
                             if (!std::isfinite(value)) {
                               expectNoPath(found, Outcome::BadSamples);
                               return;
                             }
                             expectConsistent(found);
                             for (const double distance : found.distances_m()) {
                               EXPECT_TRUE(std::isfinite(distance));
                               EXPECT_FALSE(std::fabs(distance) > farthest_m(N));
                             }
                           });
    }
  }
}

// EXACT: a subnormal has no weight in double precision beside samples of size 1.
TEST_P(RangerBadSamples, SubnormalsCountAsZero) {
  const Record good = support::ordinaryRecord(13, 2, 30.0, 4);
  for (const int forced : {0, 2, 3}) {
    Ranger ranger(13, options(forced));
    for (std::size_t at = 0; at < good.size(); ++at) {
      for (const Part part : {Part::Real, Part::Imaginary, Part::Both}) {
        const PathSet expected = ranger.estimate(withSample(good, at, part, 0.0F));
        for (const BadValue& bad : badValues) {
          if (support::vanishes(bad.value)) {
            SCOPED_TRACE(testing::Message() << bad.name << " at " << at);
            expectSame(ranger.estimate(withSample(good, at, part, bad.value)), expected);
          }
        }
      }
    }
  }
}

// A record of one value that is not zero is a single path at zero, be it the largest or the smallest:
// the unit of the samples does not matter.
TEST_P(RangerBadSamples, WholeRecordsOfOneValue) {
  for (int N = 8; N <= 40; ++N) {
    RangingOptions how = options(-1);
    how.PhaseSlopeForOnePath = false;
    Ranger ranger(static_cast<std::uint32_t>(N), how);
    const double fineStep_m = support::lightSpeed_mps / support::recordSpacing_Hz / N / 1500.0;
    for (const BadValue& bad : badValues) {
      SCOPED_TRACE(testing::Message() << bad.name << ", N " << N);
      const Record x(static_cast<std::size_t>(N), {bad.value, bad.value});
      const PathSet found = ranger.estimate(x);
      if (!std::isfinite(bad.value) || bad.value == 0.0F) {
        expectNoPath(found, std::isfinite(bad.value) ? Outcome::NoSignal : Outcome::BadSamples);
        continue;
      }
      EXPECT_EQ(found.numSignals()[0], 1);
      ASSERT_EQ(found.distances_m().size(), 1U);
      EXPECT_NEAR(found.distances_m()[0], 0.0, fineStep_m);
    }
  }
}

TEST_P(RangerBadSpacing, IsRefusedOrLeadsToFinitePaths) {
  struct Row {
    double spacing_Hz;
    bool taken;
    const char* why;
  };
  constexpr double largestDouble = std::numeric_limits<double>::max();
  constexpr double smallestDouble = std::numeric_limits<double>::denorm_min();
  const Row table[] = {
      {support::notANumber, false, "not a number"},
      {-support::notANumber, false, "the same"},
      {support::infinity, false, "not finite"},
      {-support::infinity, false, "not finite"},
      {0.0, false, "not above 0"},
      {-0.0, false, "not above 0"},
      {smallestDouble, false, "0 in single precision"},
      {-smallestDouble, false, "not above 0"},
      {largestDouble, false, "infinite in single precision"},
      {-largestDouble, false, "not above 0"},
      {support::smallestSubnormal, false, "c over the bandwidth overflows"},
      {support::largestSubnormal, false, "the same"},
      {support::largestFloat, false, "the bandwidth overflows"},
      {1e-20, true, "c over the bandwidth is 2e27 m"},
      {1e30, true, "the bandwidth is 1.3e31 Hz"},
  };
  const Record x = support::ordinaryRecord(13, 2, 30.0, 4);
  for (const Row& row : table) {
    RangingOptions how = options(2);
    how.SubcarrierSpacing = row.spacing_Hz;
    if (!row.taken) {
      EXPECT_THROW(Ranger(13, how), std::invalid_argument) << row.why;
      continue;
    }
    const PathSet found = Ranger(13, how).estimate(x);
    ASSERT_EQ(found.distances_m().size(), 2U) << row.why;
    EXPECT_TRUE(std::isfinite(found.distances_m()[0]) && std::isfinite(found.distances_m()[1]))
        << row.why;
  }
}
