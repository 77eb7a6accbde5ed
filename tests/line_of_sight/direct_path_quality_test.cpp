#include "flightpath/line_of_sight/detail/direct_path_quality.h"

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

#include "flightpath/line_of_sight/line_of_sight.h"
#include "tests/support/diffuse_channel.h"
#include "tests/support/ranging.h"
#include "tests/support/tone_samples.h"
#include "tests/support/tones.h"

using flightpath::DirectPath;
using flightpath::directPathQuality;
using flightpath::LineOfSight;
using flightpath::LineOfSightOptions;
using flightpath::Outcome;
using flightpath::Quality;
using support::measureDiffuse;
using support::measureTones;
using support::range;

namespace {

using Complex = std::complex<double>;
using Samples = std::vector<Complex>;

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

const std::vector<int> t64 = range(0, 63);

double above(double x) { return std::nextafter(x, infinity); }
double below(double x) { return std::nextafter(x, -infinity); }

/// What a rule sees: deviation in cells of 8 m, which scales without rounding.
struct Seen {
  double deviation = 0.01;
  double probability = 0.5;
  double misfit = 1.0;
  bool phaseOnly = false;
  Outcome result = Outcome::Found;
  double cell_m = 8.0;
};

Quality rate(const Seen& seen) {
  DirectPath direct;
  direct.Deviation_m = seen.deviation * seen.cell_m;
  direct.Probability = seen.probability;
  direct.ProfileMisfit = seen.misfit;
  direct.Result = seen.result;
  return directPathQuality(direct, seen.phaseOnly, seen.cell_m);
}

LineOfSightOptions options() {
  LineOfSightOptions how;
  how.SubcarrierSpacing = support::spacing_Hz;
  return how;
}

std::vector<DirectPath> estimate(const Samples& rows, const LineOfSightOptions& how,
                                 std::size_t N = 64) {
  return LineOfSight(static_cast<std::uint32_t>(N), how).estimate({rows, N});
}

void append(Samples& to, const Samples& more) { to.insert(to.end(), more.begin(), more.end()); }

double cell_m(int extent) { return support::speedOfLight_mps / support::spacing_Hz / extent; }

/// Clean and diffuse channels, noise, zeros and samples that are NaN.
Samples mixedRows() {
  Samples rows = measureTones({{40.0, 1.0, 0.4}}, t64, 1e-3, 1);
  for (unsigned seed = 1; seed <= 30; ++seed) {
    append(rows, measureDiffuse({40.0, -3.0, 30e-9, 1e-2}, t64, seed));
    append(rows, measureDiffuse({40.0, -20.0, 100e-9, 0.3}, t64, seed));
    if (seed % 10 == 0) {
      append(rows, Samples(64));
      append(rows, Samples(64, notANumber));
    }
  }
  return rows;
}

}  // namespace

// EXACT: each threshold, on it and one rounding beyond.
TEST(DirectPathQuality, EachThresholdHasTwoSides) {
  const struct {
    Seen seen;
    Quality expected;
    const char* why;
  } rows[] = {
      {{0.0}, Quality::Good, "no deviation at all"},
      {{0.08}, Quality::Good, "a deviation that is just good"},
      {{above(0.08)}, Quality::Doubtful, "one that is not"},
      {{0.25}, Quality::Doubtful, "one that is just not poor"},
      {{above(0.25)}, Quality::Poor, "one that is"},
      {{infinity}, Quality::Poor, "no deviation that any number holds"},
      {{0.01, 0.01}, Quality::Good, "a direct path that is just probable enough"},
      {{0.01, below(0.01)}, Quality::Poor, "one that is not"},
      {{0.01, 0.0}, Quality::Poor, "the tail alone"},
      {{0.01, 1.0}, Quality::Good, "a path for certain"},
      {{0.01, 0.5, 2.0}, Quality::Good, "a profile that just fits"},
      {{0.01, 0.5, above(2.0)}, Quality::Doubtful, "one that does not"},
      {{0.01, 0.5, 1.0, true}, Quality::Doubtful, "phases alone"},
      {{0.3, 0.5, 1.0, true}, Quality::Poor, "phases alone, and wide"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(rate(row.seen), row.expected) << row.why;
  }
}

// EXACT: what is not known is not good.
TEST(DirectPathQuality, NaNPassesNoCondition) {
  EXPECT_EQ(rate({notANumber}), Quality::Poor);
  EXPECT_EQ(rate({0.01, notANumber}), Quality::Poor);
  EXPECT_EQ(rate({0.01, 0.5, notANumber}), Quality::Doubtful);
  EXPECT_EQ(rate({0.01, 0.5, 1.0, false, Outcome::Found, notANumber}), Quality::Poor);
}

TEST(DirectPathQuality, WithoutAPathThereIsNothingToRate) {
  EXPECT_EQ(DirectPath().Quality, Quality::NotRated);
  for (const Outcome outcome : {Outcome::NoSignal, Outcome::BadSamples, Outcome::PhaseOnly}) {
    EXPECT_EQ(rate({0.01, 0.5, 1.0, false, outcome}), Quality::NotRated) << toString(outcome);
  }
}

// EXACT: no number that gets worse gives a better word.
TEST(DirectPathQuality, FallsWithEveryNumber) {
  Quality before = Quality::Good;
  for (double deviation = 0.001; deviation < 1.0; deviation *= 1.1) {
    const Quality now = rate({deviation});
    EXPECT_LE(now, before) << deviation;
    EXPECT_LE(rate({deviation, 0.001}), now) << deviation;
    EXPECT_LE(rate({deviation, 0.5, 3.0}), now) << deviation;
    EXPECT_LE(rate({deviation, 0.5, 1.0, true}), now) << deviation;
    before = now;
  }
  EXPECT_EQ(before, Quality::Poor);
}

// EXACT: the word is that of the numbers that the answer states, once all of them are there.
TEST(DirectPathQuality, EveryAnswerOfABatchHasTheWordOfItsOwnNumbers) {
  const Samples rows = mixedRows();
  std::set<Quality> words;
  for (const unsigned threads : {1U, 3U}) {
    LineOfSightOptions how = options();
    how.Threads = threads;
    for (const DirectPath& direct : estimate(rows, how)) {
      EXPECT_EQ(direct.Quality, directPathQuality(direct, false, cell_m(64)));
      words.insert(direct.Quality);
    }
  }
  EXPECT_EQ(words.size(), 4U) << "the batch is to have every word";
}

// EXACT: nor has any the word of the one before.
TEST(DirectPathQuality, ABatchHasTheWordsOfItsRows) {
  const Samples rows = mixedRows();
  LineOfSight lineOfSight(64, options());
  const auto batch = lineOfSight.estimate({rows, 64});
  for (std::size_t i = 0; i < batch.size(); ++i) {
    const auto alone = LineOfSight(64, options()).estimate({&rows[64 * i], 64, 64});
    EXPECT_EQ(alone[0].Quality, batch[i].Quality) << i;
    if (batch[i].Result != Outcome::Found) {
      EXPECT_EQ(batch[i].Quality, Quality::NotRated) << i;
    }
  }
}

// EXACT: cells are those of the tones' extent and of the way.
TEST(DirectPathQuality, CellsAreThoseOfTheTones) {
  for (const int step : {1, 4}) {
    LineOfSightOptions how = options();
    how.Tones = range(0, 63 * step, step);
    Samples rows;
    for (unsigned seed = 1; seed <= 40; ++seed) {
      append(rows, measureDiffuse({40.0, -3.0, 30e-9 / step, 1e-2}, how.Tones, seed));
    }
    const auto there = estimate(rows, how);
    how.RoundTrip = true;
    const auto back = estimate(rows, how);
    std::set<Quality> words;
    for (std::size_t i = 0; i < there.size(); ++i) {
      EXPECT_EQ(there[i].Quality, directPathQuality(there[i], false, cell_m(64 * step))) << i;
      EXPECT_EQ(back[i].Quality, there[i].Quality) << i;
      words.insert(there[i].Quality);
    }
    EXPECT_GE(words.size(), 2U) << step;
  }
}

// EXACT: where phases alone were accepted, they are never good.
TEST(DirectPathQuality, PhasesAloneAreDoubtful) {
  Samples samples = measureTones({{40.0, 1.0, 0.4}}, t64, 1e-4, 3);
  EXPECT_EQ(estimate(samples, options())[0].Quality, Quality::Good);
  for (Complex& z : samples) {
    z /= std::abs(z);
  }
  EXPECT_EQ(estimate(samples, options())[0].Quality, Quality::NotRated);
  LineOfSightOptions how = options();
  how.AcceptPhaseOnly = true;
  EXPECT_EQ(estimate(samples, how)[0].Quality, Quality::Doubtful);
}

// MODEL: two discrete paths at 60 dB are no tail: the profile does not fit, and the answer is not good however
// small its deviation is.
TEST(DirectPathQuality, AProfileThatDoesNotFitIsNotGood) {
  const Samples samples =
      measureTones({{40.0, 1.0, 0.4}, {61.0, 0.7, 1.9}, {88.0, 0.5, -2.2}}, t64, 1e-6, 3);
  const DirectPath direct = estimate(samples, options())[0];
  ASSERT_GT(direct.ProfileMisfit, 2.0);
  ASSERT_LT(direct.Deviation_m, 0.08 * cell_m(64));
  EXPECT_EQ(direct.Quality, Quality::Doubtful);
}

// MODEL: of 300 diffuse channels at 20 dB, at least half of the 30 worst answers is not good, and of all
// answers at most 45 in 100.
TEST(DirectPathQuality, RefusesHalfOfTheWorstTenth) {
  std::vector<std::pair<double, Quality>> answers;
  LineOfSight lineOfSight(64, options());
  for (unsigned seed = 0; seed < 300; ++seed) {
    const double K_dB = -5.0 + 5.0 * (seed % 4);
    const auto found =
        lineOfSight.estimate(measureDiffuse({40.0, K_dB, 30e-9, 1e-2}, t64, seed + 1));
    ASSERT_EQ(found[0].Result, Outcome::Found);
    answers.emplace_back(std::fabs(found[0].Distance_m - 40.0), found[0].Quality);
  }
  std::sort(answers.rbegin(), answers.rend());
  const auto isRefused = [](const auto& answer) { return answer.second != Quality::Good; };
  EXPECT_GE(std::count_if(answers.begin(), answers.begin() + 30, isRefused), 15);
  EXPECT_LE(std::count_if(answers.begin(), answers.end(), isRefused), 135);
}
