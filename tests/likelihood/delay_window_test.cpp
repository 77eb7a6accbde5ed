#include "flightpath/likelihood/delay_window.h"

#include <gtest/gtest.h>

#include <cmath>

using flightpath::cyclicDistance;
using flightpath::DelayWindow;

// EXACT: sums of powers of two.
TEST(DelayWindow, AliasesAreBroughtIntoThePeriodFromItsFirstFrequencyOn) {
  const DelayWindow whole;
  EXPECT_EQ(whole.wrap(0.25), 0.25);
  EXPECT_EQ(whole.wrap(0.5), -0.5);
  EXPECT_EQ(whole.wrap(-0.5), -0.5);
  EXPECT_EQ(whole.wrap(-2.75), 0.25);
  const DelayWindow part(0.75, 0.125);
  EXPECT_EQ(part.wrap(0.75), 0.75);
  EXPECT_EQ(part.wrap(0.625), 1.625);
  EXPECT_EQ(part.wrap(-0.125), 0.875);
}

// EXACT: a hair below the first frequency is not a whole period above it.
TEST(DelayWindow, WhatIsWrappedLiesBelowTheEndOfThePeriod) {
  for (const double first : {-0.5, 0.0, 0.75}) {
    const DelayWindow window(first, 1.0);
    for (const double f : {std::nextafter(first, -1.0), first - 1e-18, first - 1e-300}) {
      EXPECT_GE(window.wrap(f), first);
      EXPECT_LT(window.wrap(f), first + 1.0);
    }
  }
}

// EXACT
TEST(DelayWindow, BothEdgesBelongToIt) {
  const DelayWindow window(0.25, 0.25);
  EXPECT_TRUE(window.contains(0.25));
  EXPECT_TRUE(window.contains(0.5));
  EXPECT_TRUE(window.contains(-0.625));
  EXPECT_FALSE(window.contains(0.5625));
  EXPECT_FALSE(window.contains(0.1875));
  EXPECT_FALSE(window.isWholePeriod());
}

// EXACT: sums of powers of two; the nearer end by the shorter way round.
TEST(DelayWindow, WhatLiesOutsideIsNearestToOneOfTheEnds) {
  const DelayWindow window(0.25, 0.25);
  EXPECT_EQ(window.nearest(0.375), 0.375);
  EXPECT_EQ(window.nearest(-0.625), 0.375);
  EXPECT_EQ(window.nearest(0.1875), 0.25);
  EXPECT_EQ(window.nearest(0.5625), 0.5);
  EXPECT_EQ(window.nearest(-0.0625), 0.25);
  EXPECT_EQ(window.nearest(0.8125), 0.5);
  EXPECT_EQ(DelayWindow(0.75, 1.0).nearest(-3.0), -3.0) << "a period has no ends";
}

// EXACT
TEST(DelayWindow, NothingIsWiderThanAPeriod) {
  const DelayWindow window(0.0, 3.5);
  EXPECT_TRUE(window.isWholePeriod());
  EXPECT_EQ(window.width(), 1.0);
  EXPECT_TRUE(window.contains(-17.3));
}

// EXACT
TEST(DelayWindow, DistancesAreThoseOfTheNearestAliases) {
  EXPECT_EQ(cyclicDistance(0.25, -0.25), 0.5);
  EXPECT_EQ(cyclicDistance(0.9375, 0.0625), 0.125);
  EXPECT_EQ(cyclicDistance(3.0, 0.0), 0.0);
}
