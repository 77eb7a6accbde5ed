#include "flightpath/ranging/detail/fast_decibels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

// BOUND: the series is cut at 3e-8 of ln m, below 5e-7 dB; the rest is the rounding of a sum whose
// largest term is 20 log10(x), at most 760 dB: 4 eps of it, plus 4 eps of the smaller terms.
TEST(FastDecibels, FollowsTheLogarithmOverTheWholeRange) {
  constexpr double eps = std::numeric_limits<float>::epsilon();
  for (double x = 1.2e-38; x < 3e38; x *= 1.00037) {
    const auto value = static_cast<float>(x);
    const double expected = 20.0 * std::log10(static_cast<double>(value));
    EXPECT_NEAR(flightpath::fastDecibels(value), expected,
                5e-7 + 4.0 * eps * (std::fabs(expected) + 6.0))
        << value;
  }
}

TEST(FastDecibels, OneIsExactlyZero) { EXPECT_EQ(flightpath::fastDecibels(1.0F), 0.0F); }
