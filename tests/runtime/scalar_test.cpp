#include "flightpath/runtime/scalar.h"

#include <gtest/gtest.h>
#include <math.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

#include "flightpath/runtime/nonfinite.h"
#include "tests/support/same_bits.h"

using support::sameBits;

namespace {

constexpr float eps = std::numeric_limits<float>::epsilon();
constexpr float largest = std::numeric_limits<float>::max();
constexpr float smallest = std::numeric_limits<float>::denorm_min();

/// The platform's function at run time: a compiler that folds the call may round it differently.
float platformPow(float base, float exponent) {
  volatile float b = base;
  volatile float e = exponent;
  return ::powf(b, e);
}

float platformLog(float x) {
  volatile float argument = x;
  return ::logf(argument);
}

/// The logarithm of x in [1, 1.5), and of f * 2^e elsewhere.
float nearForm(float x) { return platformLog(x) / 0.6931472F; }
float farForm(float f, float e) { return platformLog(f) / 0.6931472F + e; }

}  // namespace

// EXACT: every rule, at its edges and in the order of the rules.
TEST(Power, FollowsItsRulesInOrder) {
  struct Row {
    float u0;
    float u1;
    float expected;
    const char* why;
  };
  const Row rows[] = {
      {rtNaNF, 0.0F, rtNaNF, "NaN comes before the zero exponent"},
      {1.0F, rtNaNF, rtNaNF, "NaN comes before the base of one"},
      {rtNaNF, rtInfF, rtNaNF, "NaN comes before the infinite exponent"},
      {rtNaNF, rtNaNF, rtNaNF, "NaN twice"},
      {1.0F, rtInfF, 1.0F, "|base| = 1"},
      {1.0F, rtMinusInfF, 1.0F, "|base| = 1"},
      {-1.0F, rtInfF, 1.0F, "|base| = 1"},
      {-1.0F, rtMinusInfF, 1.0F, "|base| = 1"},
      {2.0F, rtInfF, rtInfF, "|base| > 1"},
      {2.0F, rtMinusInfF, 0.0F, "|base| > 1"},
      {-2.0F, rtInfF, rtInfF, "|base| > 1, no sign"},
      {-2.0F, rtMinusInfF, 0.0F, "|base| > 1, no sign"},
      {rtInfF, rtInfF, rtInfF, "infinite base"},
      {rtMinusInfF, rtMinusInfF, 0.0F, "infinite base"},
      {0.5F, rtInfF, 0.0F, "|base| < 1"},
      {0.5F, rtMinusInfF, rtInfF, "|base| < 1"},
      {-0.5F, rtInfF, 0.0F, "|base| < 1, no sign"},
      {-0.0F, rtMinusInfF, rtInfF, "zero base"},
      {1.0F + eps, rtMinusInfF, 0.0F, "just above 1"},
      {1.0F - eps / 2.0F, rtMinusInfF, rtInfF, "just below 1"},
      {5.0F, 0.0F, 1.0F, "zero exponent"},
      {-5.0F, -0.0F, 1.0F, "zero exponent"},
      {0.0F, 0.0F, 1.0F, "zero exponent of zero"},
      {rtMinusInfF, 0.0F, 1.0F, "zero exponent of an infinity"},
      {-0.0F, 1.0F, -0.0F, "exponent 1 returns the base"},
      {-3.5F, 1.0F, -3.5F, "exponent 1 returns the base"},
      {4.0F, -1.0F, 0.25F, "exponent -1 is the reciprocal"},
      {-0.0F, -1.0F, rtMinusInfF, "reciprocal of a negative zero"},
      {rtMinusInfF, -1.0F, -0.0F, "reciprocal of an infinity"},
      {-3.0F, 2.0F, 9.0F, "square"},
      {2.0e19F, 2.0F, rtInfF, "square that overflows"},
      {-1.0e-30F, 2.0F, 0.0F, "square that underflows"},
      {rtMinusInfF, 2.0F, rtInfF, "square of an infinity"},
      {4.0F, 0.5F, 2.0F, "square root"},
      {-0.0F, 0.5F, -0.0F, "square root of a negative zero"},
      {rtInfF, 0.5F, rtInfF, "square root of an infinity"},
      {-2.0F, 0.5F, rtNaNF, "square root of a negative"},
      {rtMinusInfF, 0.5F, rtNaNF, "square root of a negative infinity"},
      {-8.0F, 1.0F / 3.0F, rtNaNF, "negative base, fractional exponent"},
      {-8.0F, -1.5F, rtNaNF, "negative base, negative fractional exponent"},
      {rtMinusInfF, 1.5F, rtNaNF, "negative infinite base, fractional exponent"},
      {rtMinusInfF, 8388607.5F, rtNaNF, "the largest fractional exponent"},
      {rtMinusInfF, 8388608.0F, rtInfF, "integral for its size"},
      {rtMinusInfF, -8388609.0F, -0.0F, "integral and odd"},
      {-8.0F, 3.0F, -512.0F, "negative base, odd exponent"},
      {-2.0F, -3.0F, -0.125F, "negative base, negative exponent"},
      {-1.0F, 8388608.0F, 1.0F, "integral for its size"},
      {-1.0F, 8388609.0F, -1.0F, "integral and odd"},
      {-1.0F, 3.0e38F, 1.0F, "integral and even for its size"},
      {0.0F, -2.5F, rtInfF, "zero base, negative exponent"},
      {-0.0F, 3.0F, -0.0F, "a zero base is not negative"},
      {-0.0F, 2.5F, 0.0F, "a zero base is not negative"},
      {2.0F, 128.0F, rtInfF, "overflow"},
      {2.0F, -149.0F, smallest, "the smallest subnormal"},
  };
  for (const Row& row : rows) {
    const float result = rt_powf_snf(row.u0, row.u1);
    EXPECT_TRUE(sameBits(result, row.expected))
        << row.u0 << " to " << row.u1 << " is " << result << ": " << row.why;
  }
}

// EXACT: the product and the root, each rounded once, of bases for which powf has to round too.
TEST(Power, SquareAndRootAreSingleOperations) {
  std::mt19937_64 random(11);
  std::uniform_real_distribution<float> base(1.0e-10F, 1.0e10F);
  for (int k = 0; k < 2000; ++k) {
    const float x = base(random);
    EXPECT_TRUE(sameBits(rt_powf_snf(-x, 2.0F), x * x)) << x;
    EXPECT_TRUE(sameBits(rt_powf_snf(x, 0.5F), std::sqrt(x))) << x;
    EXPECT_TRUE(sameBits(rt_powf_snf(x, -1.0F), 1.0F / x)) << x;
  }
}

// EXACT: what no rule fixes is the platform's function.
TEST(Power, OtherwiseIsThePlatformsFunction) {
  std::mt19937_64 random(12);
  std::uniform_real_distribution<float> base(0.001F, 100.0F);
  std::uniform_real_distribution<float> exponent(-8.0F, 8.0F);
  for (int k = 0; k < 2000; ++k) {
    const float u0 = base(random);
    const float u1 = exponent(random);
    EXPECT_TRUE(sameBits(rt_powf_snf(u0, u1), platformPow(u0, u1))) << u0 << " to " << u1;
    EXPECT_TRUE(sameBits(rt_powf_snf(-u0, 5.0F), platformPow(-u0, 5.0F))) << u0;
  }
}

// EXACT
TEST(Log2, EdgesAreFixed) {
  EXPECT_TRUE(sameBits(coder::b_log2(0.0F), rtMinusInfF));
  EXPECT_TRUE(sameBits(coder::b_log2(-0.0F), rtMinusInfF));
  EXPECT_TRUE(std::isnan(coder::b_log2(-1.0F)));
  EXPECT_TRUE(std::isnan(coder::b_log2(-smallest)));
  EXPECT_TRUE(std::isnan(coder::b_log2(rtMinusInfF)));
  EXPECT_TRUE(sameBits(coder::b_log2(rtInfF), rtInfF));
  EXPECT_TRUE(std::isnan(coder::b_log2(rtNaNF)));
}

// EXACT: subnormal powers too.
TEST(Log2, IsExactForEveryPowerOfTwo) {
  for (int e = -149; e <= 127; ++e) {
    EXPECT_TRUE(sameBits(coder::b_log2(std::ldexp(1.0F, e)), static_cast<float>(e))) << "2^" << e;
  }
}

// EXACT: the platform's logarithm is divided by the float nearest to ln 2.
TEST(Log2, MovesTheArgumentNearOneBetweenOneAndOneAndAHalf) {
  EXPECT_TRUE(sameBits(coder::b_log2(1.25F), nearForm(1.25F)));
  const float above1 = std::nextafter(1.0F, 2.0F);
  EXPECT_TRUE(sameBits(coder::b_log2(above1), nearForm(above1)));
  EXPECT_FALSE(sameBits(coder::b_log2(above1), farForm(above1 / 2.0F, 1.0F)));
  EXPECT_TRUE(sameBits(coder::b_log2(2.5F), farForm(0.625F, 2.0F))) << "not in [1, 1.5)";
  EXPECT_TRUE(sameBits(coder::b_log2(0.625F), farForm(0.625F, 0.0F)));
  EXPECT_TRUE(sameBits(coder::b_log2(largest), farForm(1.0F - eps / 2.0F, 128.0F)));
}

// EXACT: some floats on either side of 1.5 tell the two forms apart.
TEST(Log2, ChangesItsFormAtOneAndAHalf) {
  bool showsBelow = false;
  bool showsAbove = false;
  float below = 1.5F;
  float above = 1.5F;
  for (int k = 0; k < 1000; ++k) {
    EXPECT_TRUE(sameBits(coder::b_log2(above), farForm(above / 2.0F, 1.0F))) << above;
    showsAbove = showsAbove || !sameBits(nearForm(above), farForm(above / 2.0F, 1.0F));
    below = std::nextafter(below, 1.0F);
    above = std::nextafter(above, 2.0F);
    EXPECT_TRUE(sameBits(coder::b_log2(below), nearForm(below))) << below;
    showsBelow = showsBelow || !sameBits(nearForm(below), farForm(below / 2.0F, 1.0F));
  }
  EXPECT_TRUE(showsBelow && showsAbove);
}

// BOUND: 2 * eps * |log2 x|: at most one eps from logf, half of one from the quotient, 0.03 from
// the rounded divisor. Nothing is added there, so no digit cancels.
TEST(Log2, KeepsRelativeAccuracyAroundOne) {
  std::mt19937_64 random(13);
  std::uniform_real_distribution<float> distance(-23.0F, -1.0F);
  for (int k = 0; k < 5000; ++k) {
    const float d = std::exp2(distance(random));
    for (const float x : {1.0F + d * 0.99F, 1.0F - d * 0.99F}) {
      const double exact = std::log2(static_cast<double>(x));
      EXPECT_LE(std::fabs(coder::b_log2(x) - exact), 2.0 * eps * std::fabs(exact)) << x;
    }
  }
}

// BOUND: 3 * eps * max(1, |log2 x|): the quotient, at most 1 in magnitude, carries the 1.53 eps of
// the test above, the sum with the exponent half an eps of the result.
TEST(Log2, IsCloseToTheLogarithmForEveryMagnitude) {
  std::mt19937_64 random(14);
  std::uniform_int_distribution<std::uint32_t> positive(1, 0x7F7FFFFF);
  for (int k = 0; k < 20000; ++k) {
    const float x = std::bit_cast<float>(positive(random));
    const double exact = std::log2(static_cast<double>(x));
    EXPECT_LE(std::fabs(coder::b_log2(x) - exact), 3.0 * eps * std::fmax(1.0, std::fabs(exact)))
        << x;
  }
}
