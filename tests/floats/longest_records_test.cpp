#include <gtest/gtest.h>

#include <cstddef>
#include <new>
#include <random>
#include <stdexcept>

#include "flightpath/api/music_parameters.h"
#include "flightpath/music/music_result.h"
#include "flightpath/ranging/ranger.h"
#include "flightpath/spectrum/estimator.h"
#include "tests/floats/limited_allocation.h"
#include "tests/floats/records.h"
#include "tests/support/builders.h"
#include "tests/support/slow_likelihood.h"
#include "tests/support/tones.h"

using support::estimateRecord;
using support::Record;

namespace {

Record longRecord(std::size_t N) { return Record(N, {1.0F, 0.5F}); }

void estimateUnsmoothed(std::size_t N) {
  const float one = 1.0F;
  const int given[] = {1, 1};
  MUSICParameters p;
  p.init({}, &one, given, 0, 1, 0, 1e-4F, 1e-5F);
  MUSICResult result;
  MUSICLib().MUSIC1D(support::column(longRecord(N)), &p, &result);
}

/// Takes nothing unless the limit stands: without it the tests would bring the machine down.
class LongestRecords : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(support::largeBlocksAreRefused());
    support::largestBlockWanted() = 0;
  }
};

}  // namespace

// L = round(0.75 N): 46341^2 is the first square above 2147483647.
TEST_F(LongestRecords, CovarianceBeyondAnArrayIsALengthError) {
  struct Row {
    std::size_t N;
    const char* why;
  };
  const Row table[] = {{61788, "L = 46341, the first"}, {65535, "the longest"}};
  for (const Row& row : table) {
    for (const int forced : {-1, 0, 1, 3, 255}) {
      support::largestBlockWanted() = 0;
      EXPECT_THROW(estimateRecord(longRecord(row.N), forced), std::length_error) << row.why;
      EXPECT_LT(support::largestBlockWanted(), std::size_t{16} << 20U)
          << row.why << ": refused, not tried";
    }
  }
}

// L = 46340: 17 GB of covariance. Where the machine has them not, the caller hears of it.
TEST_F(LongestRecords, CovarianceBeyondTheMachineIsABadAlloc) {
  support::largestBlockWanted() = 0;
  EXPECT_THROW(estimateRecord(longRecord(61787), 1), std::bad_alloc);
  EXPECT_GE(support::largestBlockWanted(), std::size_t{46340} * 46340 * sizeof(creal32_T));
}

// Without smoothing the covariance is N x N.
TEST_F(LongestRecords, OuterProductBeyondAnArrayIsALengthError) {
  EXPECT_THROW(estimateUnsmoothed(65535), std::length_error);
  EXPECT_THROW(estimateUnsmoothed(46341), std::length_error);
  EXPECT_THROW(estimateUnsmoothed(46340), std::bad_alloc);
}

// 104 vectors of 49,151 doubles are the largest block that a Ranger wants: its memory grows with N, not N^2.
TEST_F(LongestRecords, TheRangerTakesThem) {
  flightpath::RangingOptions how;
  how.SubcarrierSpacing = support::recordSpacing_Hz;
  for (const auto method :
       {flightpath::RangingMethod::Music, flightpath::RangingMethod::MaximumLikelihood}) {
    how.Method = method;
    support::largestBlockWanted() = 0;
    const flightpath::PathSet found = flightpath::Ranger(65535, how).estimate(longRecord(65535));
    EXPECT_EQ(found.distances_m().size(), 1U);
    EXPECT_LE(support::largestBlockWanted(), std::size_t{104} * 49151 * sizeof(double));
  }
}

// MODEL: 0 dB per sample; maximum likelihood without a start needs a few vectors per path only.
TEST_F(LongestRecords, MaximumLikelihoodThroughAGapTakesThem) {
  flightpath::RangingOptions how;
  how.SubcarrierSpacing = 3125.0;
  how.Tones = support::joined(support::range(0, 29999), support::range(30001, 65534));
  const double cyclesPerMetre = how.SubcarrierSpacing / support::lightSpeed_mps;
  std::mt19937_64 random(1);
  const auto model = support::drawChannel(
      how.Tones, {}, {40.0 * cyclesPerMetre, 95.0 * cyclesPerMetre}, {1.0, 0.8}, 1.0, 1, random);
  const flightpath::PathSet found = flightpath::Ranger(65534, how).estimate(model.rows[0]);
  ASSERT_EQ(found[0].size(), 2U);
  EXPECT_NEAR(found[0][0].Distance_m, 40.0, 5.0 * found[0][0].Deviation_m);
  EXPECT_NEAR(found[0][1].Distance_m, 95.0, 5.0 * found[0][1].Deviation_m);
  EXPECT_LT(found[0][1].Deviation_m, 0.01);
  EXPECT_LT(support::largestBlockWanted(), std::size_t{32} << 20U);
}
