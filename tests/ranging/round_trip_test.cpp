#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "csi_file.h"
#include "flightpath/ranging/ranger.h"
#include "tests/support/measured_data.h"
#include "tests/support/ranging.h"
#include "tests/support/same_bits.h"
#include "tests/support/tone_samples.h"
#include "tests/support/tones.h"

// Measurements whose signal went there and back.

using flightpath::Estimate;
using flightpath::PathSet;
using flightpath::Ranger;
using flightpath::RangingOptions;
using support::likelihood;
using support::options;
using support::sameBits;

namespace {

/// All rows of a file, one after the other.
support::Samples rowsOf(const CsiFile& file) {
  support::Samples rows;
  for (const support::Samples& row : file.measurements) {
    rows.insert(rows.end(), row.begin(), row.end());
  }
  return rows;
}

PathSet estimate(const CsiFile& file, RangingOptions how, bool roundTrip) {
  how.SubcarrierSpacing = file.spacing_Hz;
  how.RoundTrip = roundTrip;
  const std::size_t N = file.measurements[0].size();
  return Ranger(static_cast<std::uint32_t>(N), how).estimate({rowsOf(file), N});
}

/// What `RoundTrip` makes of a length is what it makes of all of them.
void expectHalf(const Estimate& halved, const Estimate& whole) {
  ASSERT_EQ(halved.size(), whole.size());
  for (std::size_t k = 0; k < whole.size(); ++k) {
    EXPECT_EQ(halved[k].Distance_m, whole[k].Distance_m / 2);
    EXPECT_EQ(halved[k].Delay_s, halved[k].Distance_m / 299792458.0);
    EXPECT_TRUE(sameBits(halved[k].Deviation_m, whole[k].Deviation_m / 2));
    EXPECT_TRUE(sameBits(halved[k].Lower_m, whole[k].Lower_m / 2));
    EXPECT_TRUE(sameBits(halved[k].Upper_m, whole[k].Upper_m / 2));
    EXPECT_TRUE(sameBits(halved[k].SNR_dB, whole[k].SNR_dB));
    EXPECT_EQ(halved[k].Peak_dB, whole[k].Peak_dB);
    for (std::size_t l = 0; l < whole.size(); ++l) {
      EXPECT_TRUE(sameBits(halved.covariance_m2(k, l), whole.covariance_m2(k, l) / 4));
    }
  }
}

/// Of the strongest path of each estimate: the largest distance less the smallest.
double spread_m(const PathSet& found) {
  std::vector<double> distances_m;
  for (const Estimate estimate : found) {
    double strongest_dB = -1e9;
    distances_m.push_back(0.0);
    for (const flightpath::Path path : estimate) {
      if (static_cast<double>(path.Peak_dB) > strongest_dB) {
        strongest_dB = static_cast<double>(path.Peak_dB);
        distances_m.back() = path.Distance_m;
      }
    }
  }
  const auto [least, most] = std::minmax_element(distances_m.begin(), distances_m.end());
  return *most - *least;
}

}  // namespace

// EXACT: a power of two.
TEST(RoundTrip, AnswersAreHalfOfWhatTheyAreWithout) {
  for (const char* const name : {"phase_ranging_200.csv", "sounding_51.csv"}) {
    const CsiFile file = support::readMeasured(name);
    RangingOptions withIntervals = likelihood();
    withIntervals.IntervalLevel = 0.95;
    for (const RangingOptions& how : {likelihood(), withIntervals, options(), options(2)}) {
      const PathSet halved = estimate(file, how, true);
      const PathSet whole = estimate(file, how, false);
      ASSERT_GT(whole.distances_m().size(), whole.size() / 2) << "there is something to compare";
      for (std::size_t i = 0; i < whole.size(); ++i) {
        SCOPED_TRACE(name + (", row " + std::to_string(i)));
        expectHalf(halved[i], whole[i]);
      }
    }
  }
}

// EXACT: 150 m at 1 MHz.
TEST(RoundTrip, TheContextIsHalvedToo) {
  const CsiFile file = support::readMeasured("sounding_51.csv");
  for (const RangingOptions& how : {likelihood(), options()}) {
    const flightpath::RangingContext halved = estimate(file, how, true).context();
    const flightpath::RangingContext whole = estimate(file, how, false).context();
    EXPECT_EQ(halved.UnambiguousRange_m, 149.896229);
    EXPECT_EQ(halved.ResolutionCell_m, whole.ResolutionCell_m / 2);
    EXPECT_EQ(halved.GridStep_m, whole.GridStep_m / 2);
    EXPECT_EQ(halved.SubcarrierSpacing, whole.SubcarrierSpacing);
  }
}

// EXACT: half the metres on either side of the window are the same window, also with a stride.
TEST(RoundTrip, AWindowIsInOneWayMetres) {
  const std::vector<int> tones = support::range(0, 252, 4);
  const auto samples =
      support::measureTones({{100.0, 1.0, 0.3}, {150.0, 0.7, 2.0}}, tones, 1e-3, 5);
  RangingOptions how = likelihood();
  how.Tones = tones;
  how.EarliestDistance = 290.0;
  how.LatestDistance = 400.0;
  const PathSet whole = Ranger(64, how).estimate(samples);
  ASSERT_EQ(whole[0].size(), 2U);
  EXPECT_NEAR(whole[0][0].Distance_m, 100.0 + whole.context().UnambiguousRange_m, 0.5);
  how.RoundTrip = true;
  how.EarliestDistance = 145.0;
  how.LatestDistance = 200.0;
  const PathSet halved = Ranger(64, how).estimate(samples);
  expectHalf(halved[0], whole[0]);
}

// MODEL: the same set-up seven times, phase only. By maximum likelihood the main path moves by 5.4 cm
// between the largest and the smallest answer; by MUSIC, which takes it for the only one, by 18 cm.
TEST(RoundTrip, SevenAnswersOfTheSameSetUpLieClose) {
  const CsiFile file = support::readMeasured("phase_ranging_200.csv");
  EXPECT_NEAR(spread_m(estimate(file, likelihood(), true)), 0.054, 0.002);
  EXPECT_NEAR(spread_m(estimate(file, options(), true)), 0.182, 0.002);
}
