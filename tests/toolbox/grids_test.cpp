#include "flightpath/toolbox/grids.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <vector>

#include "flightpath/runtime/nonfinite.h"
#include "tests/support/builders.h"
#include "tests/support/same_bits.h"
#include "tests/support/slow_grid.h"

using coder::array;
using support::row;
using support::sameBits;
using support::grid::Form;
using support::grid::fromFirst;
using support::grid::rounded;
using support::grid::slowGrid;
using support::grid::symmetric;
using support::grid::withoutDifference;

namespace {

constexpr float largest = std::numeric_limits<float>::max();
constexpr float half = 1.7014117e38F;  // of the largest float
constexpr double largestDouble = std::numeric_limits<double>::max();
const float aboveHalf = std::nextafter(half, largest);

array<float, 2> grid(float d1, float d2, float n) {
  array<float, 2> y = row({9.0F, 9.0F, 9.0F});
  coder::linspace(d1, d2, n, y);
  return y;
}

array<double, 2> grid(double d2, double n) {
  array<double, 2> y = row({9.0, 9.0, 9.0});
  coder::linspace(d2, n, y);
  return y;
}

template <class T>
bool isOneByNone(const array<T, 2>& y) {
  return y.size[0] == 1 && y.size[1] == 0 && y.numel == 0;
}

}  // namespace

// EXACT: hand-made grids.
TEST(FloatGrid, ShortAndExactGrids) {
  struct Row {
    float d1;
    float d2;
    float n;
    array<float, 2> expected;
    const char* why;
  };
  const float third = 1.0F / 3.0F;
  const Row rows[] = {
      {1, 2, 1, row({2.0F}), "one point is the last"},
      {1, 2, 1.999F, row({2.0F}), "the count is truncated"},
      {1, 2, 2, row({1.0F, 2.0F}), "two points are the ends"},
      {1, 2, 2.7F, row({1.0F, 2.0F}), "the count is truncated"},
      {1, 2, 3, row({1.0F, 1.5F, 2.0F}), "one inner point"},
      {1, 5, 5, row({1.0F, 2.0F, 3.0F, 4.0F, 5.0F}), "rising"},
      {5, 1, 5, row({5.0F, 4.0F, 3.0F, 2.0F, 1.0F}), "falling"},
      {2, 2, 4, row({2.0F, 2.0F, 2.0F, 2.0F}), "equal ends"},
      {-1, 1, 5, row({-1.0F, -0.5F, 0.0F, 0.5F, 1.0F}), "symmetric, odd"},
      {-1, 1, 4, row({-1.0F, -third, third, 1.0F}), "symmetric, even"},
      {1, -1, 3, row({1.0F, 0.0F, -1.0F}), "symmetric and falling"},
      {0, 0, 5, row({0.0F, -0.0F, 0.0F, 0.0F, 0.0F}), "zeros are symmetric: -2 times 0 first"},
      {-1, 1, 2, row({-1.0F, 1.0F}), "symmetric without an inner point"},
      {rtMinusInfF, rtInfF, 5, row({rtMinusInfF, rtMinusInfF, 0.0F, rtInfF, rtInfF}),
       "infinite ends, exact middle"},
      {0, rtInfF, 4, row({0.0F, rtInfF, rtInfF, rtInfF}), "one infinite end"},
      {rtMinusInfF, 5, 4, row({rtMinusInfF, rtNaNF, rtNaNF, 5.0F}),
       "an infinite end without a difference"},
      {rtNaNF, 1, 3, row({rtNaNF, rtNaNF, 1.0F}), "NaN at the start stays out of the end"},
      {1, rtNaNF, 3, row({1.0F, rtNaNF, rtNaNF}), "NaN at the end stays out of the start"},
      {rtNaNF, -rtNaNF, 3, row({rtNaNF, rtNaNF, rtNaNF}), "NaNs are not symmetric"},
  };
  for (const Row& r : rows) {
    EXPECT_TRUE(sameBits(grid(r.d1, r.d2, r.n), r.expected)) << r.why;
  }
}

// EXACT
TEST(FloatGrid, WithoutACountIsOneByNone) {
  for (const float n : {0.0F, -0.0F, 0.99F, -0.5F, -1.0F, -1.0e30F, rtMinusInfF, rtNaNF}) {
    EXPECT_TRUE(isOneByNone(grid(1.0F, 2.0F, n))) << n;
  }
}

TEST(FloatGrid, MorePointsThanAnArrayHoldsAreALengthErrorAndChangeNothing) {
  for (const float n : {2147483648.0F, 1.0e10F, largest, rtInfF}) {
    array<float, 2> y = row({9.0F, 9.0F});
    EXPECT_THROW(coder::linspace(0.0F, 1.0F, n, y), std::length_error) << n;
    EXPECT_TRUE(sameBits(y, row({9.0F, 9.0F}))) << n;
  }
}

// EXACT: the slow form that the ends call for, for every count up to 300; the other forms are shown
// to give other bits somewhere.
TEST(FloatGrid, TakesTheFormThatItsEndsCallFor) {
  struct Row {
    float d1;
    float d2;
    Form form;
    std::vector<Form> others;
    const char* why;
  };
  const Row rows[] = {
      {-0.5F, 0.5F, symmetric, {withoutDifference, fromFirst}, "symmetric"},
      {0.3F, -0.3F, symmetric, {withoutDifference, fromFirst}, "symmetric, falling"},
      {-largest, largest, symmetric, {withoutDifference, fromFirst}, "symmetric, the widest"},
      {0.1F, 0.7F, fromFirst, {symmetric, withoutDifference}, "one sign"},
      {-0.7F, 0.1F, fromFirst, {symmetric, withoutDifference}, "opposite signs, small"},
      {0.0F, 3.0e38F, fromFirst, {symmetric}, "from zero: no sign is opposite"},
      {3.0e38F, 0.0F, fromFirst, {symmetric}, "to zero: no sign is opposite"},
      {3.0e38F, 1.0e37F, fromFirst, {symmetric, withoutDifference}, "large, of one sign"},
      {-3.0e38F, -1.0e37F, fromFirst, {symmetric, withoutDifference}, "large, both negative"},
      {-half, 0.9e38F, fromFirst, {symmetric, withoutDifference}, "exactly half is not above"},
      {0.9e38F, -half, fromFirst, {symmetric, withoutDifference}, "exactly half is not above"},
      {-aboveHalf, 0.9e38F, withoutDifference, {symmetric, fromFirst}, "start above half"},
      {0.9e38F, -aboveHalf, withoutDifference, {symmetric, fromFirst}, "end above half"},
      {-1.0e36F, aboveHalf, withoutDifference, {symmetric, fromFirst}, "end above half, positive"},
      {aboveHalf,
       -1.0e36F,
       withoutDifference,
       {symmetric, fromFirst},
       "start above half, positive"},
      {-3.0e38F, 2.0e38F, withoutDifference, {symmetric, fromFirst}, "a difference that overflows"},
      {largest, -3.3e38F, withoutDifference, {symmetric, fromFirst}, "a difference that overflows"},
  };
  for (const Row& r : rows) {
    std::vector<bool> differs(r.others.size());
    for (int n = 3; n <= 300; ++n) {
      const array<float, 2> y = grid(r.d1, r.d2, static_cast<float>(n));
      ASSERT_TRUE(sameBits(y, row(slowGrid(r.form, r.d1, r.d2, n)))) << r.why << ", " << n;
      for (std::size_t k = 0; k < r.others.size(); ++k) {
        differs[k] = differs[k] || !sameBits(y, row(slowGrid(r.others[k], r.d1, r.d2, n)));
      }
    }
    EXPECT_EQ(differs, std::vector<bool>(r.others.size(), true)) << r.why;
  }
}

// EXACT: the far form divides by N - 1 in double, the others by N - 1 rounded to float; 16777217
// intervals are the first count that tells.
TEST(FloatGrid, CountsBeyondFloatPrecisionRoundWhereTheFormSays) {
  constexpr std::int64_t n = 16777218;
  struct Row {
    float d1;
    float d2;
    Form form;
    const char* why;
  };
  const Row rows[] = {
      {-1.1F, 1.1F, symmetric, "symmetric"},
      {0.1F, 1.1F, fromFirst, "plain"},
      {-3.3e38F, 3.1e38F, withoutDifference, "far"},
      {-3.1e38F, 0.0F, withoutDifference, "far: zero is opposite to a negative start"},
      {0.0F, -3.1e38F, withoutDifference, "far: zero is opposite to a negative end"},
      {3.1e38F, 0.0F, fromFirst, "plain: zero is opposite to nothing positive"},
  };
  for (const Row& r : rows) {
    const array<float, 2> y = grid(r.d1, r.d2, static_cast<float>(n));
    ASSERT_EQ(y.size[1], n);
    for (const std::int64_t k : {2L, 3L, 1000003L, 8388609L, 8388610L, 16777216L, 16777217L}) {
      EXPECT_TRUE(sameBits(y.data[k - 1], r.form(r.d1, r.d2, k, n))) << r.why << ", " << k;
    }
  }
  const float wholeIntervals = rounded(3.1e38F / 16777217.0);
  ASSERT_NE(wholeIntervals, 3.1e38F / 16777216.0F) << "the rounding of the count shows";
}

// EXACT
TEST(DoubleGrid, StartsAtZero) {
  struct Row {
    double d2;
    double n;
    array<double, 2> expected;
    const char* why;
  };
  const Row rows[] = {
      {3, 0, row<double>({}), "no point"},
      {3, -0.0, row<double>({}), "no point"},
      {3, 0.9, row<double>({}), "the count is truncated"},
      {3, 1, row({3.0}), "one point is the last"},
      {3, 2, row({0.0, 3.0}), "two points are the ends"},
      {3, 2.9, row({0.0, 3.0}), "the count is truncated"},
      {3, 3, row({0.0, 1.5, 3.0}), "one inner point"},
      {1, 5, row({0.0, 0.25, 0.5, 0.75, 1.0}), "rising"},
      {-1, 5, row({0.0, -0.25, -0.5, -0.75, -1.0}), "falling"},
      {0, 5, row({0.0, -0.0, 0.0, 0.0, 0.0}), "zeros are symmetric, exact middle"},
      {0, 4, row({0.0, -0.0, 0.0, 0.0}), "zeros without a middle"},
      {-0.0, 5, row({0.0, 0.0, 0.0, -0.0, -0.0}), "negative zero is symmetric too"},
      {rtInf, 3, row({0.0, rtInf, rtInf}), "infinite end"},
      {rtNaN, 3, row({0.0, rtNaN, rtNaN}), "NaN stays out of the start"},
  };
  for (const Row& r : rows) {
    EXPECT_TRUE(sameBits(grid(r.d2, r.n), r.expected)) << r.why;
  }
}

// EXACT
TEST(DoubleGrid, WithoutACountIsLeftAsItWas) {
  for (const double n : {-1.0, -0.5, -1.0e-300, -1.0e300, rtMinusInf, rtNaN}) {
    array<double, 2> y = support::matrix<double>(2, 2, {1, 2, 3, 4});
    coder::linspace(7.0, n, y);
    EXPECT_TRUE(sameBits(y, support::matrix<double>(2, 2, {1, 2, 3, 4}))) << n;
  }
}

TEST(DoubleGrid, MorePointsThanAnArrayHoldsAreALengthErrorAndChangeNothing) {
  for (const double n : {2147483648.0, 1.0e10, 1.0e300, rtInf}) {
    array<double, 2> y = row({9.0, 9.0});
    EXPECT_THROW(coder::linspace(1.0, n, y), std::length_error) << n;
    EXPECT_TRUE(sameBits(y, row({9.0, 9.0}))) << n;
  }
}

// EXACT: the quotient is rounded before the product, which for 0.7 differs from dividing last. The
// ends above half of the largest double follow the same two operations.
TEST(DoubleGrid, InnerPointsAreMultiplesOfTheRoundedStep) {
  for (const double d2 : {0.7, -0.7, 1.0e300, 8.988465674311579e307, largestDouble,
                          -8.988465674311579e307, -9.0e307, -largestDouble, 5.0e-324}) {
    for (int n = 3; n <= 300; ++n) {
      std::vector<double> expected;
      const double step = d2 / (n - 1);
      for (int k = 0; k + 1 < n; ++k) {
        expected.push_back(k * step);
      }
      expected[0] = 0.0;
      expected.push_back(d2);
      ASSERT_TRUE(sameBits(grid(d2, n), row(expected))) << d2 << ", " << n;
    }
  }
  bool differs = false;
  const array<double, 2> y = grid(0.7, 300.0);
  for (int k = 1; k < 299; ++k) {
    differs = differs || y[k] != k * 0.7 / 299;
  }
  EXPECT_TRUE(differs);
}
