#include "flightpath/likelihood/path_moves.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "tests/support/slow_likelihood.h"
#include "tests/support/split_samples.h"
#include "tests/support/tones.h"

using flightpath::DelayWindow;
using flightpath::LeftOut;
using flightpath::PathMoves;
using flightpath::ToneSet;

namespace {

constexpr double cell = 1.0 / 64.0;

struct Channel {
  Channel(const std::vector<int>& tones, const std::vector<double>& f,
          const std::vector<double>& amplitudes, double noisePower, unsigned seed = 1,
          const DelayWindow& window = {})
      : set(tones, {}), samples(1, set.count()), moves(set, 1, 6, window) {
    std::mt19937_64 random(seed);
    model = support::drawChannel(tones, {}, f, amplitudes, noisePower, 1, random);
    samples = support::splitSamples(model);
  }

  std::vector<double> sorted() {
    const auto f = moves.fit().frequencies();
    std::vector<double> copy(f.begin(), f.end());
    std::sort(copy.begin(), copy.end());
    return copy;
  }

  ToneSet set;
  support::SlowLikelihood model;
  flightpath::SplitRows samples;
  PathMoves moves;
};

const std::vector<int> contiguous = support::range(0, 63);

void expectNear(const std::vector<double>& found, const std::vector<double>& expected,
                double bound) {
  ASSERT_EQ(found.size(), expected.size());
  for (std::size_t p = 0; p < found.size(); ++p) {
    EXPECT_NEAR(found[p], expected[p], bound) << p;
  }
}

}  // namespace

// EXACT for what is left out; MODEL for where the rest ends, at 40 dB.
TEST(PathMoves, StartsThatAreAloneInTheirPlaceAreTaken) {
  Channel channel(contiguous, {0.1, 0.3}, {1.0, 1.0}, 1e-4);
  const double notANumber = std::nan("");
  channel.moves.begin(channel.samples,
                      std::vector<double>{0.101, notANumber, 0.3, 0.101 + 0.04 * cell, 1.3});
  expectNear(channel.sorted(), {0.1, 0.3}, 0.01 * cell);
  PathMoves narrow(channel.set, 1, 6, DelayWindow(0.05, 0.1));
  narrow.begin(channel.samples, std::vector<double>{0.101, 0.3, -0.899});
  ASSERT_EQ(narrow.fit().numPaths(), 1);
  EXPECT_NEAR(narrow.fit().frequencies()[0], 0.1, 0.1 * cell);
  narrow.begin(channel.samples, std::vector<double>{-0.899});
  ASSERT_EQ(narrow.fit().numPaths(), 1);
  EXPECT_NEAR(narrow.fit().frequencies()[0], 0.1, 0.1 * cell) << "from an alias of the start";
}

// EXACT: the ends of the period are one place.
TEST(PathMoves, StartsAtBothEndsOfThePeriodAreTheSame) {
  Channel channel(contiguous, {0.5}, {1.0}, 1e-4);
  for (const double distance : {0.04, 0.1}) {
    channel.moves.begin(channel.samples, std::vector<double>{-0.5 + 0.5 * distance * cell,
                                                             0.5 - 0.5 * distance * cell});
    EXPECT_EQ(channel.moves.fit().numPaths(), distance < 0.05 ? 1 : 2) << distance;
  }
}

// EXACT: no more than there is room for.
TEST(PathMoves, AStartIsCutAtTheMostPaths) {
  Channel channel(contiguous, {0.1}, {1.0}, 1e-2);
  channel.moves.begin(channel.samples,
                      std::vector<double>{-0.4, -0.3, -0.2, -0.1, 0.0, 0.1, 0.2, 0.3});
  EXPECT_EQ(channel.moves.fit().numPaths(), 6);
  EXPECT_FALSE(channel.moves.add());
}

// EXACT: the fit before, and its peaks.
TEST(PathMoves, AnAddedPathCanBeTakenBack) {
  Channel channel(contiguous, {0.1, 0.3}, {1.0, 0.5}, 1e-2);
  channel.moves.begin(channel.samples, std::vector<double>{0.1});
  const double cost = channel.moves.fit().residualEnergy();
  const double promised = channel.moves.promisedFall();
  ASSERT_TRUE(channel.moves.add());
  EXPECT_EQ(channel.moves.before().residualEnergy(), cost);
  EXPECT_LT(channel.moves.fit().residualEnergy(), cost);
  EXPECT_EQ(channel.moves.fit().numPaths(), 2);
  const double two = channel.moves.fit().residualEnergy();
  EXPECT_LT(channel.moves.promisedFall(), 0.1 * promised) << "of the new residual";
  ASSERT_TRUE(channel.moves.add());
  channel.moves.undo();
  EXPECT_EQ(channel.moves.fit().residualEnergy(), two);
}

// MODEL: at 40 dB two paths a third of a cell apart look like one; the split finds both.
TEST(PathMoves, CloseCompanionsAreFoundByASplit) {
  int found = 0;
  for (unsigned seed = 0; seed < 20; ++seed) {
    Channel channel(contiguous, {0.1, 0.1 + 0.35 * cell}, {1.0, 0.8}, 1e-4, seed);
    channel.moves.begin(channel.samples, std::vector<double>{0.1});
    ASSERT_TRUE(channel.moves.add());
    const std::vector<double> f = channel.sorted();
    found +=
        std::fabs(f[0] - 0.1) < 0.15 * cell && std::fabs(f[1] - f[0] - 0.35 * cell) < 0.15 * cell
            ? 1
            : 0;
  }
  EXPECT_GE(found, 19);
}

// EXACT: at the edges of a window too, where one of the two would lie outside.
TEST(PathMoves, ASplitStaysInTheWindow) {
  constexpr double first = 0.1;
  constexpr double width = 2.0 * cell;
  for (unsigned seed = 0; seed < 20; ++seed) {
    for (const double middle : {first, first + width}) {
      Channel channel(contiguous, {middle - 0.3 * cell, middle + 0.3 * cell}, {1.0, 0.8}, 1e-4,
                      seed, DelayWindow(first, width));
      channel.moves.begin(channel.samples, std::vector<double>{middle});
      channel.moves.add();
      for (const double f : channel.moves.fit().frequencies()) {
        EXPECT_GE(f, first);
        EXPECT_LE(f, first + width);
      }
    }
  }
}

// EXACT for which one stays and which one goes.
TEST(PathMoves, APathIsRemovedOnlyWhereTheCostStaysBelowEnough) {
  Channel channel(contiguous, {0.1, 0.3}, {1.0, 0.1}, 1e-4);
  channel.moves.begin(channel.samples, std::vector<double>{0.1, 0.3});
  const double cost = channel.moves.fit().residualEnergy();
  EXPECT_FALSE(channel.moves.removeWithin(1, 0.3)) << "64 times 0.01";
  EXPECT_EQ(channel.moves.fit().residualEnergy(), cost);
  EXPECT_EQ(channel.moves.fit().numPaths(), 2);
  EXPECT_TRUE(channel.moves.removeWithin(1, 0.8));
  EXPECT_NEAR(channel.moves.fit().frequencies()[0], 0.1, 0.1 * cell);
  EXPECT_LT(channel.moves.fit().residualEnergy(), 0.8);
}

// EXACT: 1.2 cells is the border, and eight paths are the most.
TEST(PathMoves, PathsThatLieCloseMayHaveOtherMinima) {
  for (const auto& [distance, isClose] : {std::pair(1.1, true), std::pair(1.5, false)}) {
    const std::vector<double> f = {-0.49, 0.1, 0.1 + distance * cell};
    Channel channel(contiguous, f, {1.0, 1.0, 1.0}, 1e-6);
    channel.moves.begin(channel.samples, f);
    EXPECT_EQ(channel.moves.isRearrangeable(), isClose) << distance;
    EXPECT_EQ(channel.moves.isSuspect(1), isClose);
    EXPECT_FALSE(channel.moves.isSuspect(0));
  }
  Channel around(contiguous, {-0.499, 0.499}, {1.0, 1.0}, 1e-6);
  around.moves.begin(around.samples, std::vector<double>{-0.499, 0.499});
  EXPECT_TRUE(around.moves.isRearrangeable()) << "across the end of the period";
  for (const int count : {8, 9}) {
    std::vector<double> f;
    for (int p = 0; p < count; ++p) {
      f.push_back(0.1 + p * 1.1 * cell);
    }
    Channel many(contiguous, f, std::vector<double>(f.size(), 1.0), 1e-6);
    PathMoves moves(many.set, 1, 10, DelayWindow());
    moves.begin(many.samples, f);
    EXPECT_EQ(moves.isRearrangeable(), count == 8);
  }
}

// BOUND: 1e-3, by which single precision and another way to the same minimum may differ; residuals of
// other fits differ by factors.
TEST(PathMoves, ThePromiseIsThatOfTheFitAsItIsAfterEveryMove) {
  Channel channel(support::twoBlocks(), {0.1, 0.3}, {1.0, 0.7}, 1e-2);
  PathMoves& moves = channel.moves;
  const auto expectFresh = [&](const char* move) {
    PathMoves fresh(channel.set, 1, 6, DelayWindow());
    fresh.begin(channel.samples, channel.sorted());
    const double promise = fresh.promisedFall();
    EXPECT_NEAR(moves.promisedFall() / promise, 1.0, 1e-3) << move;
    EXPECT_NEAR(moves.structure() / fresh.structure(), 1.0, 1e-3) << move;
  };
  moves.begin(channel.samples, std::vector<double>{0.1 + 1.0 / 64.0, 0.3});
  expectFresh("begin");
  ASSERT_TRUE(moves.shift());
  expectFresh("shift");
  moves.remove(0);
  expectFresh("remove");
  ASSERT_TRUE(moves.add());
  expectFresh("add");
  ASSERT_TRUE(moves.removeWithin(0, 1e9));
  expectFresh("remove within");
  moves.keep();
  ASSERT_TRUE(moves.add());
  expectFresh("add again");
  moves.restore();
  expectFresh("restore");
  ASSERT_TRUE(moves.add());
  moves.undo();
  expectFresh("undo");
  moves.begin(channel.samples, std::vector<double>{0.1, -0.2});
  expectFresh("begin elsewhere");
  ASSERT_TRUE(moves.exchange(LeftOut::Each));
  expectFresh("exchange");
}

// MODEL: a start one sidelobe off, at 30 dB, is a minimum of its own.
TEST(PathMoves, AShiftLeavesTheMinimumOfASidelobe) {
  Channel channel(support::twoBlocks(), {0.1}, {1.0}, 1e-3);
  channel.moves.begin(channel.samples, std::vector<double>{0.1 + 1.0 / 64.0});
  EXPECT_GT(channel.moves.fit().residualEnergy(), 10.0);
  EXPECT_TRUE(channel.moves.shift());
  EXPECT_NEAR(channel.moves.fit().frequencies()[0], 0.1, 0.001);
  const double cost = channel.moves.fit().residualEnergy();
  EXPECT_FALSE(channel.moves.shift());
  EXPECT_EQ(channel.moves.fit().residualEnergy(), cost);
}

// EXACT: the minimum a sidelobe below lies outside the window, by more than a path may move.
TEST(PathMoves, AShiftStaysWithinTheWindow) {
  Channel channel(support::twoBlocks(), {0.1}, {1.0}, 1e-3);
  const double start = 0.1 + 1.0 / 64.0;
  PathMoves moves(channel.set, 1, 6, DelayWindow(0.1 + 0.5 / 64.0, 0.02));
  ASSERT_TRUE(moves.hasHighSidelobes());
  moves.begin(channel.samples, std::vector<double>{start});
  ASSERT_EQ(moves.fit().numPaths(), 1);
  const double before = moves.fit().frequencies()[0];
  EXPECT_NEAR(before, start, 0.2 / 96.0);
  EXPECT_FALSE(moves.shift());
  EXPECT_EQ(moves.fit().frequencies()[0], before);
}

// MODEL: one of two paths in the wrong place, which no refinement mends.
TEST(PathMoves, AnExchangeBringsAPathToWhereItBelongs) {
  Channel channel(contiguous, {0.1, 0.3}, {1.0, 0.7}, 1e-3);
  channel.moves.begin(channel.samples, std::vector<double>{0.1, -0.2});
  EXPECT_TRUE(channel.moves.exchange(LeftOut::Each));
  expectNear(channel.sorted(), {0.1, 0.3}, 0.1 * cell);
  const std::vector<double> before = channel.sorted();
  EXPECT_FALSE(channel.moves.exchange(LeftOut::Each));
  EXPECT_EQ(channel.sorted(), before);
}

// MODEL: the path in the wrong place is the one that the others miss least, and it comes last here.
TEST(PathMoves, AnExchangeOfTheWeakestBringsItToWhereItBelongs) {
  Channel channel(contiguous, {0.1, 0.2, 0.3}, {1.0, 0.8, 0.7}, 1e-3);
  channel.moves.begin(channel.samples, std::vector<double>{0.1, 0.2, -0.2});
  EXPECT_EQ(channel.moves.fit().weakest(), 2);
  EXPECT_TRUE(channel.moves.exchange(LeftOut::Weakest));
  expectNear(channel.sorted(), {0.1, 0.2, 0.3}, 0.1 * cell);
  EXPECT_FALSE(channel.moves.exchange(LeftOut::Weakest));
}

// EXACT
TEST(PathMoves, WhatWasKeptComesBack) {
  Channel channel(contiguous, {0.1, 0.3}, {1.0, 0.7}, 1e-2);
  channel.moves.begin(channel.samples, std::vector<double>{0.1});
  const double cost = channel.moves.fit().residualEnergy();
  channel.moves.keep();
  ASSERT_TRUE(channel.moves.add());
  channel.moves.restore();
  EXPECT_EQ(channel.moves.fit().numPaths(), 1);
  EXPECT_EQ(channel.moves.fit().residualEnergy(), cost);
}
