#include "flightpath/likelihood/residual_peaks.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "tests/support/slow_likelihood.h"
#include "tests/support/split_samples.h"
#include "tests/support/tones.h"

using flightpath::DelayWindow;
using flightpath::PathFit;
using flightpath::ResidualPeaks;
using flightpath::ToneSet;
using support::range;

namespace {

struct Fitted {
  Fitted(const std::vector<int>& tones, const std::vector<double>& weights,
         const std::vector<double>& f, const std::vector<double>& known, int numRows,
         unsigned seed = 1)
      : set(tones, weights), fit(set, numRows, 4), samples(numRows, set.count()) {
    std::mt19937_64 random(seed);
    model = support::drawChannel(tones, weights, f, std::vector<double>(f.size(), 1.0), 0.01,
                                 numRows, random);
    for (double& w : model.weights) {
      w *= set.weightScale();
    }
    samples = support::splitSamples(model);
    fit.setFrequencies(known);
    EXPECT_TRUE(fit.solve(samples));
  }

  ToneSet set;
  PathFit fit;
  flightpath::SplitRows samples;
  support::SlowLikelihood model;
};

/// The fall by the dense model: the cost with the path less the cost without it.
double fallAt(const support::SlowLikelihood& model, std::vector<double> known, double f) {
  const double without = model.cost(known);
  known.push_back(f);
  return without - model.cost(known);
}

}  // namespace

// BOUND: 1e-4 of the samples' energy: single precision of the transform and of the difference in the
// denominator, a hundredth of it here or more.
TEST(ResidualPeaks, ThePromisedFallIsThatOfTheCost) {
  std::mt19937_64 random(4);
  std::vector<double> weights;
  for (int k = 0; k < 40; ++k) {
    weights.push_back(0.25 + 0.05 * k);
  }
  const std::vector<Fitted*> none;
  for (const int numRows : {1, 3}) {
    for (const std::vector<double>& known :
         {std::vector<double>{}, std::vector<double>{0.0125}, std::vector<double>{0.0125, 0.034}}) {
      Fitted plain(range(0, 63), {}, {0.0125, 0.034, 0.0625}, known, numRows);
      Fitted weighted(support::randomTones(64, 40, random), weights, {0.0125, 0.034, 0.0625}, known,
                      numRows);
      for (Fitted* fitted : {&plain, &weighted}) {
        ResidualPeaks peaks(fitted->set, numRows, 4, DelayWindow());
        const auto found = peaks.find(fitted->fit);
        ASSERT_EQ(found.size(), 1U);
        EXPECT_NEAR(found[0].fall, fallAt(fitted->model, known, found[0].frequency),
                    1e-4 * 64 * numRows);
        // MODEL: no other point of a grid between is better by more than the grid's own scalloping.
        for (int i = 0; i < 500; ++i) {
          EXPECT_LT(fallAt(fitted->model, known, i / 500.0), 1.15 * found[0].fall);
        }
      }
    }
  }
}

// MODEL: the tallest peak is the missing path, within an eighth of a cell.
TEST(ResidualPeaks, ThePathThatIsMissingIsThePeak) {
  for (const double f : {0.3, -0.2, 0.49, -0.49}) {
    Fitted fitted(range(-20, 43), {}, {f, 0.05}, {0.05}, 1);
    ResidualPeaks peaks(fitted.set, 1, 4, DelayWindow());
    EXPECT_NEAR(peaks.find(fitted.fit)[0].frequency, f, 0.126 / 64.0);
  }
}

// EXACT for the window; MODEL for what is tallest in it.
TEST(ResidualPeaks, PeaksLieWithinTheWindow) {
  Fitted fitted(range(0, 63), {}, {0.3, 0.1}, {}, 1);
  for (const auto& [window, expected] :
       {std::pair(DelayWindow(0.25, 0.1), 0.3), std::pair(DelayWindow(0.05, 0.1), 0.1),
        std::pair(DelayWindow(-0.75, 0.1), -0.7), std::pair(DelayWindow(5.25, 0.1), 5.3)}) {
    ResidualPeaks peaks(fitted.set, 1, 4, window);
    EXPECT_NEAR(peaks.find(fitted.fit)[0].frequency, expected, 0.126 / 64.0);
  }
}

// EXACT for the window; MODEL for the fall: a point of the grid at most an eighth of a cell away, of
// which the main lobe keeps 0.9.
TEST(ResidualPeaks, AWindowBetweenTwoPointsHasAPeak) {
  constexpr double step = 1.0 / 256.0;
  for (const double first : {0.1 * step, 0.4 * step, 76.6 * step, -179.4 * step, 332.7 * step}) {
    const double f = first + 0.1 * step;
    Fitted fitted(range(0, 63), {}, {f}, {}, 1);
    ResidualPeaks peaks(fitted.set, 1, 4, DelayWindow(first, 0.2 * step));
    const auto found = peaks.find(fitted.fit);
    ASSERT_EQ(found.size(), 1U) << first;
    EXPECT_GE(found[0].frequency, first);
    EXPECT_LE(found[0].frequency, first + 0.2 * step);
    EXPECT_GT(found[0].fall, 0.9 * fallAt(fitted.model, {}, f));
  }
}

// EXACT
TEST(ResidualPeaks, NothingLeftHasNoPeak) {
  Fitted fitted(range(0, 15), {}, {}, {}, 1);
  flightpath::SplitRows zeros(1, 16);
  ASSERT_TRUE(fitted.fit.solve(zeros));
  ResidualPeaks peaks(fitted.set, 1, 4, DelayWindow());
  EXPECT_TRUE(peaks.find(fitted.fit).empty());
}

// MODEL: with a hundred draws of white noise the mean ratio lies within 5 % of 1, four deviations of it;
// a path that no fit explains raises it.
TEST(ResidualPeaks, StructureIsOneForWhiteNoiseAndMoreForAPath) {
  for (const int numRows : {1, 4}) {
    double sum = 0.0;
    for (unsigned seed = 0; seed < 100; ++seed) {
      Fitted fitted(range(0, 63), {}, {}, {}, numRows, seed);
      ResidualPeaks peaks(fitted.set, numRows, 4, DelayWindow());
      peaks.find(fitted.fit);
      sum += peaks.structure();
    }
    EXPECT_NEAR(sum / 100.0, 1.0, 0.05) << numRows;
    Fitted path(range(0, 63), {}, {0.1}, {}, numRows);
    ResidualPeaks peaks(path.set, numRows, 4, DelayWindow());
    peaks.find(path.fit);
    EXPECT_GT(peaks.structure(), 5.0);
  }
}

// MODEL: blocks whose centres lie 64 tones apart repeat each lobe 1 / 64 away; every second tone, but for
// one, repeats it half a period away.
TEST(ResidualPeaks, FarBlocksAndNearAliasesHaveHighSidelobes) {
  const auto sidelobes = [](const std::vector<int>& tones, const DelayWindow& window) {
    ToneSet set(tones, {});
    const ResidualPeaks peaks(set, 1, 4, window);
    return std::vector<double>(peaks.sidelobes().begin(), peaks.sidelobes().end());
  };
  EXPECT_TRUE(sidelobes(range(0, 63), DelayWindow()).empty());
  EXPECT_TRUE(sidelobes(range(0, 252, 4), DelayWindow()).empty());
  const std::vector<double> blocks = sidelobes(support::twoBlocks(), DelayWindow());
  ASSERT_EQ(blocks.size(), 2U);
  EXPECT_NEAR(blocks[0], 1.0 / 64.0, 0.002);
  EXPECT_NEAR(blocks[1], -1.0 / 64.0, 0.002);
  const std::vector<int> even = support::joined(range(0, 58, 2), {59});
  const std::vector<double> aliases = sidelobes(even, DelayWindow());
  ASSERT_FALSE(aliases.empty());
  EXPECT_NEAR(std::fabs(aliases[0]), 0.5, 0.01);
  EXPECT_TRUE(sidelobes(even, DelayWindow(0.0, 0.4)).empty());
}

// EXACT: order, and no more than four.
TEST(ResidualPeaks, SeveralPeaksComeTallestFirstWhereSidelobesAreHigh) {
  Fitted fitted(support::twoBlocks(), {}, {0.0125, 0.2, 0.4}, {}, 1);
  ResidualPeaks peaks(fitted.set, 1, 4, DelayWindow());
  const auto found = peaks.find(fitted.fit);
  ASSERT_EQ(found.size(), 4U);
  for (std::size_t i = 1; i < found.size(); ++i) {
    EXPECT_GE(found[i - 1].fall, found[i].fall);
  }
}
