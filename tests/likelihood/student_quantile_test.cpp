#include "flightpath/likelihood/student_quantile.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

using flightpath::studentQuantile;

// BOUND: half a unit of the printed tables' last digit.
TEST(StudentQuantile, TheTablesOfTheDistribution) {
  struct Row {
    double level;
    double degrees;
    double q;
  };
  for (const Row& row :
       {Row{0.90, 1, 6.314}, Row{0.95, 1, 12.706}, Row{0.99, 1, 63.657}, Row{0.95, 2, 4.303},
        Row{0.95, 3, 3.182}, Row{0.99, 5, 4.032}, Row{0.95, 10, 2.228}, Row{0.998, 10, 4.144},
        Row{0.95, 30, 2.042}, Row{0.99, 30, 2.750}, Row{0.95, 120, 1.980}, Row{0.50, 10, 0.700}}) {
    EXPECT_NEAR(studentQuantile(row.level, row.degrees), row.q, 0.5e-3)
        << row.level << ", " << row.degrees;
  }
}

// BOUND: 1e-9; with one degree q = tan(pi level / 2), with two level / sqrt((1 - level^2) / 2).
TEST(StudentQuantile, TheClosedFormsOfOneAndTwoDegrees) {
  for (const double level : {1e-6, 0.1, 0.5, 0.6826894921, 0.9973002039, 0.999999}) {
    const double one = std::tan(0.5 * std::numbers::pi * level);
    const double two = level / std::sqrt((1.0 - level) * (1.0 + level) / 2.0);
    EXPECT_NEAR(studentQuantile(level, 1.0) / one, 1.0, 1e-9) << level;
    EXPECT_NEAR(studentQuantile(level, 2.0) / two, 1.0, 1e-9) << level;
  }
}

// BOUND: the distribution differs from the normal one by q^3 / (4 degrees), 7e-6 here.
TEST(StudentQuantile, ManyDegreesAreTheNormalDistribution) {
  EXPECT_NEAR(studentQuantile(0.6826894921370859, 1e6), 1.0, 1e-5);
  EXPECT_NEAR(studentQuantile(0.9544997361036416, 1e6), 2.0, 1e-5);
  EXPECT_NEAR(studentQuantile(0.9973002039367398, 1e6), 3.0, 1e-5);
}

// EXACT: order.
TEST(StudentQuantile, FewerDegreesAreWider) {
  double last = 1e300;
  for (const double degrees : {0.5, 1.0, 1.5, 2.0, 7.0, 119.0}) {
    const double q = studentQuantile(0.95, degrees);
    EXPECT_LT(q, last);
    last = q;
  }
}
