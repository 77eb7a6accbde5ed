#include "tests/support/tones.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include "flightpath/ranging/ranger.h"
#include "flightpath/ranging/tone_presets.h"
#include "tests/support/columns.h"
#include "tests/support/ranging.h"
#include "tests/support/same_bits.h"
#include "tests/support/tone_samples.h"

using flightpath::Path;
using flightpath::PathSet;
using flightpath::Ranger;
using flightpath::RangingOptions;
using flightpath::TonePreset;
using support::everythingIn;
using support::likelihood;
using support::range;
using support::refusal;
using support::spacing_Hz;
using support::speedOfLight_mps;

namespace {

using Complex = std::complex<double>;

/// Paths of 1, 0.7, 0.49 ... at these distances, 30 dB.
std::vector<Complex> measure(const std::vector<double>& distances_m, const std::vector<int>& tones,
                             unsigned seed) {
  std::vector<support::TonePath> paths;
  double amplitude = 1.0;
  for (const double distance_m : distances_m) {
    paths.push_back({distance_m, amplitude, 3.0 * amplitude});
    amplitude *= 0.7;
  }
  return support::measureTones(paths, tones, 1e-3, seed);
}

RangingOptions over(const std::vector<int>& tones, RangingOptions how = likelihood()) {
  how.Tones = tones;
  return how;
}

PathSet estimate(const std::vector<Complex>& samples, const RangingOptions& how) {
  return Ranger(static_cast<std::uint32_t>(samples.size()), how).estimate(samples);
}

}  // namespace

// MODEL: 30 dB; five deviations, near zero and behind 300 m.
TEST(Tones, PathsAreFoundThroughGaps) {
  for (const TonePreset preset :
       {TonePreset::Legacy20, TonePreset::HT20, TonePreset::HT40, TonePreset::VHT80,
        TonePreset::Grouped20, TonePreset::Grouped40}) {
    const std::vector<int> tones = flightpath::tonesOf(preset);
    for (const double bulk_m : {0.0, 300.0}) {
      const std::vector<double> truth = {12.0 + bulk_m, 33.0 + bulk_m, 60.0 + bulk_m};
      const PathSet found = estimate(measure(truth, tones, 1), [&] {
        RangingOptions how = over(tones);
        how.EarliestDistance = 0.0;
        return how;
      }());
      ASSERT_EQ(found[0].size(), 3U) << tones.size() << ", " << bulk_m;
      for (std::size_t p = 0; p < 3; ++p) {
        const double period_m = found.context().UnambiguousRange_m;
        const double error_m = found[0][p].Distance_m - std::fmod(truth[p], period_m);
        EXPECT_LT(std::fabs(error_m), 5 * found[0][p].Deviation_m) << tones.size();
        EXPECT_LT(found[0][p].Deviation_m, 0.2);
      }
    }
  }
}

// EXACT: delays depend on the distances between tones, not on where the indices begin.
TEST(Tones, TheOriginOfTheIndicesDoesNotMatter) {
  const std::vector<int> around = flightpath::tonesOf(TonePreset::HT20);
  const auto samples = measure({12.0, 33.0}, around, 2);
  std::vector<int> fromZero;
  for (const int t : around) {
    fromZero.push_back(t + 28);
  }
  const PathSet expected = estimate(samples, over(around));
  ASSERT_EQ(expected[0].size(), 2U);
  EXPECT_TRUE(
      support::sameBits(everythingIn(estimate(samples, over(fromZero))), everythingIn(expected)));
  const auto contiguous = measure({12.0, 33.0}, range(0, 31), 2);
  EXPECT_TRUE(support::sameBits(everythingIn(estimate(contiguous, over(range(-16, 15)))),
                                everythingIn(estimate(contiguous, likelihood()))));
}

// EXACT for the context; MODEL: 30 dB for the paths. Every fourth tone is a spacing of four, for both
// methods.
TEST(Tones, AStrideIsASpacing) {
  const std::vector<int> tones = range(0, 252, 4);
  const auto samples = measure({12.0, 33.0}, tones, 3);
  for (const RangingOptions& method : {likelihood(), support::options()}) {
    const PathSet found = estimate(samples, over(tones, method));
    RangingOptions wide = method;
    wide.SubcarrierSpacing = 4 * spacing_Hz;
    const PathSet expected = estimate(samples, wide);
    EXPECT_EQ(found.context().UnambiguousRange_m, expected.context().UnambiguousRange_m);
    EXPECT_EQ(found.context().ResolutionCell_m, expected.context().ResolutionCell_m);
    EXPECT_EQ(found.context().GridStep_m, expected.context().GridStep_m);
    ASSERT_EQ(found[0].size(), 2U);
    for (std::size_t p = 0; p < 2; ++p) {
      EXPECT_NEAR(found[0][p].Distance_m, expected[0][p].Distance_m, 1e-9);
      EXPECT_NEAR(found[0][p].Distance_m, p == 0 ? 12.0 : 33.0, 0.5);
    }
  }
}

// BOUND: a few roundings: from the first tone to the last, in steps of the greatest common divisor.
TEST(Tones, TheContextSpeaksOfTheTonesThatAreMeasured) {
  const auto context = [](const std::vector<int>& tones) {
    return Ranger(static_cast<std::uint32_t>(tones.size()), over(tones))
        .estimate(std::vector<Complex>(tones.size()))
        .context();
  };
  const double range_m = speedOfLight_mps / spacing_Hz;
  EXPECT_EQ(context({0, 1, 5}).UnambiguousRange_m, range_m);
  EXPECT_EQ(context({0, 1, 5}).ResolutionCell_m, range_m / 6);
  EXPECT_DOUBLE_EQ(context({-6, 0, 9}).UnambiguousRange_m, range_m / 3);
  EXPECT_DOUBLE_EQ(context({-6, 0, 9}).ResolutionCell_m, range_m / 3 / 6);
  EXPECT_EQ(context({-6, 0, 9}).SubcarrierSpacing, spacing_Hz);
  EXPECT_EQ(context({-6, 0, 9}).NumSubcarriers, 3U);
  EXPECT_EQ(context({-6, 0, 9}).GridStep_m, 0.0);
}

// MODEL: 30 dB; answers are the aliases within the window, in metres.
TEST(Tones, AWindowChoosesAmongAliases) {
  const auto samples = measure({100.0, 300.0}, range(0, 63), 4);
  const double period_m = speedOfLight_mps / spacing_Hz;
  struct Row {
    std::optional<double> earliest_m, latest_m;
    std::vector<double> expected_m;
  };
  for (const Row& row :
       {Row{{}, {}, {100.0, 300.0}}, Row{-50.0, {}, {100.0, 300.0}},
        Row{200.0, {}, {300.0, 100.0 + period_m}}, Row{{}, 200.0, {300.0 - period_m, 100.0}},
        Row{50.0, 350.0, {100.0, 300.0}},
        Row{1000.0, 1900.0, {100.0 + period_m, 300.0 + period_m}}}) {
    RangingOptions how = likelihood();
    how.EarliestDistance = row.earliest_m;
    how.LatestDistance = row.latest_m;
    const PathSet found = estimate(samples, how);
    ASSERT_EQ(found[0].size(), 2U);
    for (std::size_t p = 0; p < 2; ++p) {
      EXPECT_NEAR(found[0][p].Distance_m, row.expected_m[p], 0.5);
    }
  }
  RangingOptions how = likelihood();
  how.EarliestDistance = 250.0;
  how.LatestDistance = 350.0;
  const PathSet found = estimate(samples, how);
  for (const Path path : found[0]) {
    EXPECT_GE(path.Distance_m, 250.0);
    EXPECT_LE(path.Distance_m, 350.0);
  }
}

// MODEL: 30 dB; the window is in metres, whatever the stride of the tones: a quarter of the range here.
TEST(Tones, AWindowIsInMetresAlsoWithAStride) {
  const std::vector<int> tones = range(0, 252, 4);
  const auto samples = measure({100.0, 150.0}, tones, 5);
  const double period_m = speedOfLight_mps / spacing_Hz / 4;
  for (const double aliases : {0.0, 1.0, 3.0}) {
    RangingOptions how = over(tones);
    how.EarliestDistance = 50.0 + aliases * period_m;
    how.LatestDistance = 200.0 + aliases * period_m;
    const PathSet found = estimate(samples, how);
    ASSERT_EQ(found[0].size(), 2U) << aliases;
    EXPECT_NEAR(found[0][0].Distance_m, 100.0 + aliases * period_m, 0.5);
    EXPECT_NEAR(found[0][1].Distance_m, 150.0 + aliases * period_m, 0.5);
    how.LatestDistance = 120.0 + aliases * period_m;
    const PathSet first = estimate(samples, how);
    ASSERT_FALSE(first[0].empty());
    for (const Path path : first[0]) {
      EXPECT_GE(path.Distance_m, *how.EarliestDistance);
      EXPECT_LE(path.Distance_m, *how.LatestDistance);
    }
  }
}

// EXACT
TEST(Tones, WhatAreNoTonesIsRefusedByPosition) {
  EXPECT_EQ(refusal(3, over({4, 5, 5})), "Tones: a tone is repeated at position 2");
  EXPECT_EQ(refusal(3, over({4, 2, 5})), "Tones: a tone is out of order at position 1");
  EXPECT_EQ(refusal(3, over({4, 5})), "Tones: there are 2 for rows of 3 samples");
  EXPECT_EQ(refusal(3, over({4, 5, 6, 7})), "Tones: there are 4 for rows of 3 samples");
  EXPECT_EQ(refusal(3, over({4, 5, 7})), "");
  RangingOptions how = likelihood();
  how.Weights = {1.0, 2.0};
  EXPECT_EQ(refusal(3, how), "Weights: there is not one per tone");
  how.Weights = {1.0, 0.0, 1.0};
  EXPECT_EQ(refusal(3, how), "Weights: not a finite number above 0 at position 1");
}

// EXACT: what a method cannot do is said, with what to use.
TEST(Tones, MusicRefusesWhatOnlyMaximumLikelihoodCan) {
  EXPECT_EQ(refusal(3, over({4, 5, 7}, support::options())),
            "Ranger: Tones has gaps, and Music wants evenly spaced tones: use MaximumLikelihood");
  EXPECT_EQ(refusal(3, over({4, 6, 8}, support::options())), "");
  const char* const message =
      "Ranger: Weights, ModelError, EarliestDistance, LatestDistance and IntervalLevel want "
      "MaximumLikelihood";
  for (int i = 0; i < 5; ++i) {
    RangingOptions how = support::options();
    if (i == 0) {
      how.Weights = {1.0, 1.0, 1.0};
    }
    std::optional<double>* const settings[] = {nullptr, &how.ModelError, &how.EarliestDistance,
                                               &how.LatestDistance, &how.IntervalLevel};
    if (i > 0) {
      *settings[i] = -0.5;
    }
    EXPECT_EQ(refusal(3, how), message) << i;
  }
}

// EXACT
TEST(Tones, SettingsOfMaximumLikelihoodAreRefusedByTheirNames) {
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  for (const double bad : {0.0, 1.0, -0.1, nan}) {
    RangingOptions how = likelihood();
    how.FalseAlarm = bad;
    EXPECT_EQ(refusal(3, how), "Ranger: FalseAlarm is not above 0 and below 1");
    how = likelihood();
    how.IntervalLevel = bad;
    EXPECT_EQ(refusal(3, how), "Ranger: IntervalLevel is not above 0 and below 1");
  }
  for (const double bad : {25.0, nan, -std::numeric_limits<double>::infinity()}) {
    RangingOptions how = likelihood();
    how.ModelError = bad;
    EXPECT_EQ(refusal(3, how), "Ranger: ModelError is not a finite number of dB up to 0");
  }
  RangingOptions how = likelihood();
  how.EarliestDistance = 10.0;
  how.LatestDistance = 10.0;
  EXPECT_EQ(refusal(3, how), "EarliestDistance and LatestDistance enclose nothing");
}
