#include "flightpath/runtime/detail/complex_math.h"

#include <gtest/gtest.h>

#include <cmath>

#include "flightpath/runtime/nonfinite.h"
#include "tests/support/same_bits.h"

using support::sameBits;

// EXACT: the rule for a complex by a real value.
TEST(DivideByReal, ZeroPartsStayOutOfTheDivision) {
  struct Row {
    creal32_T z;
    float d;
    creal32_T expected;
    const char* why;
  };
  const Row rows[] = {
      {{6.0F, 3.0F}, 3.0F, {2.0F, 1.0F}, "both parts"},
      {{6.0F, 0.0F}, 3.0F, {2.0F, 0.0F}, "imaginary part zero"},
      {{6.0F, -0.0F}, -3.0F, {-2.0F, 0.0F}, "a negative zero becomes a positive one"},
      {{0.0F, 6.0F}, 3.0F, {0.0F, 2.0F}, "real part zero"},
      {{-0.0F, 6.0F}, -3.0F, {0.0F, -2.0F}, "real part zero of negative sign"},
      {{6.0F, 0.0F}, 0.0F, {rtInfF, 0.0F}, "no 0 / 0 beside the infinity"},
      {{0.0F, 0.0F}, 0.0F, {rtNaNF, 0.0F}, "0 / 0 in the real part only"},
      {{rtNaNF, 0.0F}, 2.0F, {rtNaNF, 0.0F}, "NaN passes"},
  };
  for (const Row& row : rows) {
    EXPECT_TRUE(sameBits(flightpath::divideByReal(row.z, row.d), row.expected)) << row.why;
  }
}

TEST(Halve, FollowsTheRuleOfDivideByReal) {
  EXPECT_TRUE(sameBits(flightpath::halve({3.0F, 5.0F}), {1.5F, 2.5F}));
  EXPECT_TRUE(sameBits(flightpath::halve({3.0F, -0.0F}), {1.5F, 0.0F}));
  EXPECT_TRUE(sameBits(flightpath::halve({-0.0F, -5.0F}), {0.0F, -2.5F}));
  EXPECT_TRUE(sameBits(flightpath::halve({-0.0F, 0.0F}), {-0.0F, 0.0F}));
}

// EXACT: powers and their sums are chosen so that every operation is exact or the rule is explicit.
TEST(Modulus, NeitherOverflowsNorUnderflows) {
  EXPECT_TRUE(sameBits(flightpath::modulus({0.0F, 0.0F}), 0.0F));
  EXPECT_TRUE(sameBits(flightpath::modulus({-3.0e38F, 0.0F}), 3.0e38F));
  EXPECT_TRUE(sameBits(flightpath::modulus({0.0F, -1.0e-40F}), 1.0e-40F));
  EXPECT_TRUE(sameBits(flightpath::modulus({2.0F, -2.0F}), 2.0F * 1.4142135F)) << "equal parts";
  EXPECT_TRUE(sameBits(flightpath::modulus({4.0F, 3.0F}), 5.0F));
  EXPECT_TRUE(sameBits(flightpath::modulus({rtInfF, 1.0F}), rtInfF));
  EXPECT_TRUE(sameBits(flightpath::modulus({-rtInfF, rtInfF}), rtInfF));
}

TEST(Modulus, NaNInEitherPartGivesNaN) {
  EXPECT_TRUE(std::isnan(flightpath::modulus({rtNaNF, 1.0F})));
  EXPECT_TRUE(std::isnan(flightpath::modulus({1.0F, rtNaNF})));
  EXPECT_TRUE(std::isnan(flightpath::modulus({rtNaNF, rtNaNF})));
}
