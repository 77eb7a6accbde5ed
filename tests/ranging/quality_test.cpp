#include "flightpath/ranging/quality.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <set>
#include <utility>
#include <vector>

#include "flightpath/ranging/detail/first_path_quality.h"
#include "flightpath/ranging/ranger.h"
#include "tests/support/columns.h"
#include "tests/support/diffuse_channel.h"
#include "tests/support/ranging.h"
#include "tests/support/tone_samples.h"
#include "tests/support/tones.h"

using flightpath::Estimate;
using flightpath::EstimateInfo;
using flightpath::firstPathQuality;
using flightpath::Outcome;
using flightpath::Path;
using flightpath::PathSet;
using flightpath::Quality;
using flightpath::Ranger;
using flightpath::RangingOptions;
using support::likelihood;
using support::measureDiffuse;
using support::measureTones;
using support::range;

namespace {

using Complex = std::complex<double>;

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

double above(double x) { return std::nextafter(x, infinity); }

/// What a rule sees: deviation in cells of 8 m, which scales without rounding.
struct Seen {
  double deviation = 0.01;
  double structure = 1.0;
  std::int32_t numPaths = 1;
  bool phaseOnly = false;
  Outcome result = Outcome::Found;
  double cell_m = 8.0;
};

Quality rate(const Seen& seen) {
  Path first;
  first.Deviation_m = seen.deviation * seen.cell_m;
  EstimateInfo info;
  info.NumSignals = seen.numPaths;
  info.Result = seen.result;
  info.ResidualStructure = seen.structure;
  info.PhaseOnly = seen.phaseOnly;
  return firstPathQuality(first, info, seen.cell_m);
}

void append(std::vector<Complex>& to, const std::vector<Complex>& more) {
  to.insert(to.end(), more.begin(), more.end());
}

const std::vector<int> t64 = range(0, 63);

Quality wordOf(Ranger& ranger, const std::vector<Complex>& row) {
  const PathSet found = ranger.estimate(row);
  return found[0].info().Quality;
}

/// Diffuse channels, whose words differ, between clean ones, noise, zeros and samples that are NaN.
std::vector<Complex> mixedRows() {
  std::vector<Complex> rows = measureTones({{40.0, 1.0, 0.4}}, t64, 1e-3, 1);
  for (unsigned seed = 1; seed <= 40; ++seed) {
    append(rows, measureDiffuse({40.0, -3.0, 30e-9, 1e-2}, t64, seed));
    if (seed % 10 == 0) {
      append(rows, std::vector<Complex>(64));
      append(rows, std::vector<Complex>(64, notANumber));
    }
  }
  return rows;
}

std::vector<Complex> phasesOf(std::vector<Complex> samples) {
  for (Complex& z : samples) {
    z /= std::abs(z);
  }
  return samples;
}

}  // namespace

TEST(Quality, StandsInAscendingOrderAndHasWords) {
  EXPECT_LT(Quality::NotRated, Quality::Poor);
  EXPECT_LT(Quality::Poor, Quality::Doubtful);
  EXPECT_LT(Quality::Doubtful, Quality::Good);
  EXPECT_STREQ(toString(Quality::NotRated), "not rated");
  EXPECT_STREQ(toString(Quality::Poor), "poor");
  EXPECT_STREQ(toString(Quality::Doubtful), "doubtful");
  EXPECT_STREQ(toString(Quality::Good), "good");
  EXPECT_EQ(EstimateInfo().Quality, Quality::NotRated);
}

// EXACT: each threshold, on it and one rounding beyond.
TEST(FirstPathQuality, EachThresholdHasTwoSides) {
  const struct {
    Seen seen;
    Quality expected;
    const char* why;
  } rows[] = {
      {{0.0}, Quality::Good, "no deviation at all"},
      {{0.06}, Quality::Good, "a deviation that is just good"},
      {{above(0.06)}, Quality::Doubtful, "one that is not"},
      {{0.25}, Quality::Doubtful, "one that is just not poor"},
      {{above(0.25)}, Quality::Poor, "one that is"},
      {{infinity}, Quality::Poor, "delays that are not determined"},
      {{0.01, 2.0}, Quality::Good, "a residual that is just white enough"},
      {{0.01, above(2.0)}, Quality::Doubtful, "one that is not"},
      {{0.01, 1e9}, Quality::Doubtful, "a model that fits nothing, with paths that are sharp"},
      {{0.3, 1e9}, Quality::Poor, "and with one that is not"},
      {{0.01, 1.0, 1, true}, Quality::Good, "phases alone, one path"},
      {{0.01, 1.0, 2, true}, Quality::Poor, "phases alone, two paths: the first may be a ghost"},
      {{0.01, 1.0, 2}, Quality::Good, "two paths"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(rate(row.seen), row.expected) << row.why;
  }
}

// EXACT: what is not known is not good.
TEST(FirstPathQuality, NaNPassesNoCondition) {
  EXPECT_EQ(rate({notANumber}), Quality::Poor);
  EXPECT_EQ(rate({0.01, notANumber}), Quality::Doubtful);
  EXPECT_EQ(rate({0.01, 1.0, 1, false, Outcome::Found, notANumber}), Quality::Poor);
}

TEST(FirstPathQuality, WithoutAPathThereIsNothingToRate) {
  for (const Outcome outcome : {Outcome::NoSignal, Outcome::NothingAboveThreshold,
                                Outcome::BadSamples, Outcome::PhaseOnly}) {
    EXPECT_EQ(rate({0.01, 1.0, 1, false, outcome}), Quality::NotRated) << toString(outcome);
  }
}

// EXACT: a larger deviation or structure never gives a better word.
TEST(FirstPathQuality, FallsWithEveryNumber) {
  Quality before = Quality::Good;
  for (double deviation = 0.001; deviation < 1.0; deviation *= 1.1) {
    const Quality now = rate({deviation});
    EXPECT_LE(now, before) << deviation;
    EXPECT_LE(rate({deviation, 3.0}), now) << deviation;
    before = now;
  }
  EXPECT_EQ(before, Quality::Poor);
}

// EXACT: the word is that of the numbers that the answer states, of its earliest path and of no other estimate.
TEST(FirstPathQuality, EveryAnswerOfABatchHasTheWordOfItsOwnNumbers) {
  const std::vector<Complex> rows = mixedRows();
  for (const unsigned threads : {1U, 3U}) {
    const PathSet found = Ranger(64, likelihood({}, threads)).estimate({rows, 64});
    std::set<Quality> words;
    for (std::size_t i = 0; i < found.size(); ++i) {
      const EstimateInfo info = found[i].info();
      const Path first = found[i].empty() ? Path() : found[i][0];
      EXPECT_EQ(info.Quality, firstPathQuality(first, info, found.context().ResolutionCell_m)) << i;
      EXPECT_EQ(info.Quality, found.qualities()[i]) << i;
      words.insert(info.Quality);
    }
    EXPECT_EQ(words.size(), 4U) << "the batch is to have every word";
  }
}

// EXACT
TEST(FirstPathQuality, ABatchHasTheWordsOfItsRows) {
  const std::vector<Complex> rows = mixedRows();
  Ranger ranger(64, likelihood());
  PathSet alone;
  const PathSet found = ranger.estimate({rows, 64});
  for (std::size_t i = 0; i < found.size(); ++i) {
    ranger.estimate({&rows[64 * i], 64, 64}, alone);
    ASSERT_EQ(alone.qualities().size(), 1U);
    EXPECT_EQ(alone.qualities()[0], found.qualities()[i]) << i;
  }
}

// EXACT: after a good answer, one without a path has no word of it.
TEST(FirstPathQuality, NoAnswerHasTheWordOfTheOneBefore) {
  Ranger ranger(64, likelihood());
  EXPECT_EQ(wordOf(ranger, measureTones({{40.0, 1.0, 0.4}}, t64, 1e-3, 1)), Quality::Good);
  EXPECT_EQ(wordOf(ranger, std::vector<Complex>(64)), Quality::NotRated);
  EXPECT_EQ(wordOf(ranger, std::vector<Complex>(64, notANumber)), Quality::NotRated);
}

TEST(FirstPathQuality, MusicIsNotRated) {
  const auto row = measureTones({{40.0, 1.0, 0.4}}, t64, 1e-3, 1);
  const PathSet found = Ranger(64, support::options()).estimate(row);
  ASSERT_EQ(found[0].size(), 1U);
  EXPECT_EQ(found[0].info().Quality, Quality::NotRated);
}

// EXACT: cells are those of the tones' extent and of the way: wide strides have shorter cells, round trips too.
TEST(FirstPathQuality, CellsAreThoseOfTheContext) {
  for (const int step : {1, 4}) {
    RangingOptions how = likelihood();
    how.Tones = range(0, 63 * step, step);
    std::vector<Complex> rows;
    for (unsigned seed = 1; seed <= 60; ++seed) {
      append(rows, measureDiffuse({40.0, -3.0, 30e-9 / step, 1e-2}, how.Tones, seed));
    }
    const PathSet there = Ranger(64, how).estimate({rows, 64});
    how.RoundTrip = true;
    const PathSet back = Ranger(64, how).estimate({rows, 64});
    EXPECT_EQ(support::toVector(back.qualities()), support::toVector(there.qualities())) << step;
    std::set<Quality> words;
    for (const Estimate estimate : there) {
      const EstimateInfo info = estimate.info();
      words.insert(info.Quality);
      EXPECT_EQ(info.Quality,
                firstPathQuality(estimate[0], info, there.context().ResolutionCell_m));
    }
    EXPECT_EQ(words.size(), 3U) << step;
  }
}

// MODEL: of phases alone, two paths have ghosts: far off, and poor whatever they promise. One path has none.
TEST(FirstPathQuality, PhasesOfSeveralPathsArePoor) {
  Ranger ranger(64, likelihood());
  const auto two = measureTones({{40.0, 1.0, 0.4}, {80.0, 0.8, 2.0}}, t64, 1e-4, 3);
  EXPECT_EQ(wordOf(ranger, two), Quality::Good);
  const PathSet found = ranger.estimate(phasesOf(two));
  EXPECT_GT(found[0].size(), 1U);
  EXPECT_EQ(found[0].info().Quality, Quality::Poor);
  const auto one = measureTones({{40.0, 1.0, 0.4}}, t64, 1e-4, 3);
  EXPECT_EQ(wordOf(ranger, phasesOf(one)), Quality::Good);
}

// MODEL: of 300 diffuse channels at 20 dB, at least half of the 30 worst answers is not good, and of all
// answers at most 35 in 100.
TEST(FirstPathQuality, RefusesHalfOfTheWorstTenth) {
  std::vector<std::pair<double, Quality>> answers;
  Ranger ranger(64, likelihood());
  for (unsigned seed = 0; seed < 300; ++seed) {
    const double K_dB = -5.0 + 5.0 * (seed % 4);
    const PathSet found = ranger.estimate(measureDiffuse({40.0, K_dB, 30e-9, 1e-2}, t64, seed + 1));
    ASSERT_FALSE(found[0].empty());
    answers.emplace_back(std::fabs(found[0][0].Distance_m - 40.0), found.qualities()[0]);
  }
  std::sort(answers.rbegin(), answers.rend());
  const auto isRefused = [](const auto& answer) { return answer.second != Quality::Good; };
  EXPECT_GE(std::count_if(answers.begin(), answers.begin() + 30, isRefused), 15);
  EXPECT_LE(std::count_if(answers.begin(), answers.end(), isRefused), 105);
}
