#include "flightpath/likelihood/delay_refinement.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "tests/support/slow_likelihood.h"
#include "tests/support/split_samples.h"
#include "tests/support/tones.h"

using flightpath::DelayRefinement;
using flightpath::DelayWindow;
using flightpath::PathFit;
using flightpath::ToneSet;

namespace {

const std::vector<double> truth = {0.0125, 0.034375, 0.0625};

/// Three paths over 64 tones at 20 dB.
struct Channel {
  explicit Channel(unsigned seed, double noisePower = 0.01)
      : set(support::range(0, 63), {}), samples(1, 64) {
    std::mt19937_64 random(seed);
    model = support::drawChannel(support::range(0, 63), {}, truth, {1.0, 0.7, 0.5}, noisePower, 1,
                                 random);
    samples = support::splitSamples(model);
  }

  ToneSet set;
  support::SlowLikelihood model;
  flightpath::SplitRows samples;
};

std::vector<double> toVector(std::span<const double> values) {
  return {values.begin(), values.end()};
}

}  // namespace

// BOUND: it stops where a quadratic predicts a fall below 1e-7 of the noise power. A step of a thousandth
// of a cell from a minimum raises the cost by some 1e-4 of it at this SNR; the factor of ten is for
// what is not quadratic.
TEST(DelayRefinement, ItEndsAtAMinimum) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    Channel channel(seed);
    PathFit fit(channel.set, 1, 3);
    fit.setFrequencies(std::vector<double>{0.010, 0.037, 0.060});
    DelayRefinement refinement(channel.set, 1, 3, DelayWindow());
    ASSERT_TRUE(refinement.refine(fit, channel.samples));
    const std::vector<double> f = toVector(fit.frequencies());
    const double cost = channel.model.cost(f);
    EXPECT_NEAR(fit.residualEnergy(), cost, 1e-12 * 64);
    for (std::size_t p = 0; p < f.size(); ++p) {
      for (const double step : {-1e-3 / 64.0, 1e-3 / 64.0}) {
        std::vector<double> near = f;
        near[p] += step;
        EXPECT_GT(channel.model.cost(near), cost - 1e-6 * fit.noisePower()) << seed << ", " << p;
      }
    }
  }
}

// MODEL: noise-free samples have their minimum at the truth; rounding leaves 1e-12.
TEST(DelayRefinement, WithoutNoiseItEndsAtTheTruth) {
  Channel channel(3, 0.0);
  PathFit fit(channel.set, 1, 3);
  fit.setFrequencies(std::vector<double>{0.010, 0.037, 0.060});
  DelayRefinement refinement(channel.set, 1, 3, DelayWindow());
  ASSERT_TRUE(refinement.refine(fit, channel.samples));
  for (std::size_t p = 0; p < truth.size(); ++p) {
    EXPECT_NEAR(fit.frequencies()[p], truth[p], 1e-12);
  }
}

// EXACT for the held path; the others take its place as the model says.
TEST(DelayRefinement, AHeldPathStaysAndTheOthersAdapt) {
  Channel channel(4);
  PathFit fit(channel.set, 1, 3);
  DelayRefinement refinement(channel.set, 1, 3, DelayWindow());
  fit.setFrequencies(truth);
  ASSERT_TRUE(refinement.refine(fit, channel.samples));
  const std::vector<double> free = toVector(fit.frequencies());
  fit.changeFrequency(1, 0.037);
  ASSERT_TRUE(refinement.refine(fit, channel.samples, {0.0, 1}));
  EXPECT_EQ(fit.frequencies()[1], 0.037);
  EXPECT_NE(fit.frequencies()[0], free[0]);
  EXPECT_NE(fit.frequencies()[2], free[2]);
  std::vector<double> stiff = free;
  stiff[1] = 0.037;
  EXPECT_LT(fit.residualEnergy(), channel.model.cost(stiff));
}

// BOUND: a rounding of the limit. Tapered weights make the main lobe wider than two cells, down which the
// path would go all the way.
TEST(DelayRefinement, APathGoesOneCellAtMost) {
  std::vector<double> taper;
  for (int k = 0; k < 64; ++k) {
    taper.push_back(std::pow(std::sin(3.14159 * (k + 0.5) / 64.0), 8));
  }
  ToneSet set(support::range(0, 63), taper);
  std::mt19937_64 random(5);
  support::SlowLikelihood model =
      support::drawChannel(support::range(0, 63), taper, {0.1}, {1.0}, 1e-6, 1, random);
  const flightpath::SplitRows samples = support::splitSamples(model);
  PathFit fit(set, 1, 1);
  DelayRefinement refinement(set, 1, 1, DelayWindow());
  const double start = 0.1 - 1.4 / 64.0;
  fit.setFrequencies(std::vector<double>{start});
  ASSERT_TRUE(refinement.refine(fit, samples));
  EXPECT_NEAR(fit.frequencies()[0], start + 1.0 / 64.0, 1e-15);
  ASSERT_TRUE(refinement.refine(fit, samples));
  EXPECT_NEAR(fit.frequencies()[0], 0.1, 1e-4) << "from there it may go on";
}

// EXACT: the edge itself, from within.
TEST(DelayRefinement, APathThatBelongsOutsideTheWindowEndsAtItsEdge) {
  Channel channel(6);
  for (const auto& [window, edge] :
       {std::pair(DelayWindow(0.066, 0.1), 0.066), std::pair(DelayWindow(-0.1, 0.159), 0.059)}) {
    PathFit fit(channel.set, 1, 3);
    DelayRefinement refinement(channel.set, 1, 3, window);
    fit.setFrequencies(
        std::vector<double>{truth[0], truth[1], edge + (edge > 0.06 ? 1e-3 : -1e-3)});
    if (edge > 0.06) {
      fit.setFrequencies(std::vector<double>{0.067});
    }
    ASSERT_TRUE(refinement.refine(fit, channel.samples));
    EXPECT_NEAR(fit.frequencies().back(), edge, 1e-15);
  }
}

// EXACT
TEST(DelayRefinement, ItStopsAtACostThatIsEnough) {
  Channel channel(7);
  PathFit fit(channel.set, 1, 3);
  DelayRefinement refinement(channel.set, 1, 3, DelayWindow());
  const std::vector<double> start = {0.010, 0.037, 0.060};
  fit.setFrequencies(start);
  ASSERT_TRUE(refinement.refine(fit, channel.samples, {1e9, {}}));
  EXPECT_EQ(toVector(fit.frequencies()), start);
}

// EXACT
TEST(DelayRefinement, PathsThatAreTheSameAreRefused) {
  Channel channel(8);
  PathFit fit(channel.set, 1, 3);
  DelayRefinement refinement(channel.set, 1, 3, DelayWindow());
  fit.setFrequencies(std::vector<double>{0.01, 0.02, 0.01});
  EXPECT_FALSE(refinement.refine(fit, channel.samples));
}

// EXACT: no path is a fit, with the samples as its residual.
TEST(DelayRefinement, NoPathIsLeftAsItIs) {
  Channel channel(9);
  PathFit fit(channel.set, 1, 3);
  DelayRefinement refinement(channel.set, 1, 3, DelayWindow());
  ASSERT_TRUE(refinement.refine(fit, channel.samples));
  EXPECT_EQ(fit.numPaths(), 0);
  EXPECT_EQ(fit.residual().re, channel.samples.re);
}
