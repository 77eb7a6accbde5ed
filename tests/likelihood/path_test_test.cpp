#include "flightpath/likelihood/path_test.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

using flightpath::pathStatistic;
using flightpath::pathThreshold;

// BOUND: 1e-10 of the probability; t is found to the last digits, and exp multiplies its rounding.
TEST(PathTest, TheThresholdIsTheRateOfCrossings) {
  for (const double falseAlarm : {1e-6, 1e-3, 0.1}) {
    for (const double n : {1.0, 12.0, 64.0, 1992.0}) {
      const double one = pathThreshold(falseAlarm, n, 1);
      EXPECT_NEAR(n * std::sqrt(std::numbers::pi * one / 3.0) * std::exp(-one) / falseAlarm, 1.0,
                  1e-10);
      const double four = pathThreshold(falseAlarm, n, 4);
      EXPECT_NEAR(n * std::sqrt(std::numbers::pi / 3.0) * std::pow(four, 3.5) * std::exp(-four) /
                      6.0 / falseAlarm,
                  1.0, 1e-10);
    }
  }
}

// EXACT: the rate of a probability that is never reached has no crossing; t stays where it is highest.
TEST(PathTest, TheThresholdStaysOnTheFallingSide) {
  EXPECT_GE(pathThreshold(0.999, 1.0, 1), 0.5);
  EXPECT_GE(pathThreshold(0.999, 1.0, 8), 7.5);
}

// BOUND: 4 eps of a logarithm.
TEST(PathTest, TheStatisticIsTheLogarithmOfTheCosts) {
  EXPECT_DOUBLE_EQ(pathStatistic(std::exp(1.0), 1.0, 60.0, 0.0), 60.0);
  EXPECT_DOUBLE_EQ(pathStatistic(3.0, 1.0, 10.0, 1.0), 10.0 * std::log(2.0));
}

// BOUND: 1e-12
TEST(PathTest, TheCostAtTheThresholdHasThatStatistic) {
  for (const double unexplained : {0.0, 0.3}) {
    const double cost = flightpath::costAtThreshold(2.0, 57.5, unexplained, 9.4);
    EXPECT_NEAR(pathStatistic(cost, 2.0, 57.5, unexplained), 9.4, 1e-12);
  }
}
