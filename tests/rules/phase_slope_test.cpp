#include "flightpath/rules/phase_slope.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "flightpath/runtime/nonfinite.h"
#include "tests/support/builders.h"
#include "tests/support/channels.h"
#include "tests/support/reference_estimator.h"
#include "tests/support/same_bits.h"

using coder::array;
using support::column;
using support::sameBits;

namespace {

constexpr float halfPi = 1.5707964F;

array<creal32_T, 1> tone(double f, int N) {
  std::mt19937_64 random(1);
  return support::measure({{f}}, N, support::noNoise, random);
}

}  // namespace

// EXACT: the rules for zeros, infinities and NaN; elsewhere atan2f itself.
TEST(Angle, FollowsItsTable) {
  struct Row {
    creal32_T z;
    float expected;
    const char* why;
  };
  const float inf = rtInfF;
  const float nan = rtNaNF;
  const Row rows[] = {
      {{0.0F, 2.0F}, halfPi, "positive imaginary axis"},
      {{-0.0F, 2.0F}, halfPi, "a negative zero is a zero real part too"},
      {{0.0F, -2.0F}, -halfPi, "negative imaginary axis"},
      {{-0.0F, -2.0F}, -halfPi, "the same beside a negative zero"},
      {{0.0F, 0.0F}, 0.0F, "the origin"},
      {{-0.0F, 0.0F}, 0.0F, "not pi"},
      {{0.0F, -0.0F}, 0.0F, "not -0"},
      {{-0.0F, -0.0F}, 0.0F, "not -pi"},
      {{0.0F, inf}, halfPi, "infinite imaginary part beside a zero"},
      {{0.0F, -inf}, -halfPi, "the negative one"},
      {{inf, inf}, std::atan2(1.0F, 1.0F), "both infinite: the signs alone"},
      {{-inf, inf}, std::atan2(1.0F, -1.0F), "second quadrant"},
      {{-inf, -inf}, std::atan2(-1.0F, -1.0F), "third"},
      {{inf, -inf}, std::atan2(-1.0F, 1.0F), "fourth"},
      {{inf, 3.0F}, 0.0F, "one infinite part: atan2f"},
      {{-inf, 3.0F}, std::atan2(3.0F, -inf), "pi"},
      {{-inf, -3.0F}, std::atan2(-3.0F, -inf), "-pi"},
      {{3.0F, inf}, std::atan2(inf, 3.0F), "pi / 2"},
      {{2.0F, 0.0F}, 0.0F, "positive real axis"},
      {{2.0F, -0.0F}, -0.0F, "atan2f keeps the sign of a zero imaginary part"},
      {{-2.0F, 0.0F}, std::atan2(0.0F, -2.0F), "pi"},
      {{-2.0F, -0.0F}, std::atan2(-0.0F, -2.0F), "-pi"},
      {{nan, 1.0F}, nan, "NaN real part"},
      {{1.0F, nan}, nan, "NaN imaginary part"},
      {{nan, inf}, nan, "NaN before infinity"},
      {{inf, nan}, nan, "NaN before infinity"},
      {{0.0F, nan}, nan, "NaN before the zero real part"},
      {{nan, nan}, nan, "both"},
  };
  for (const Row& row : rows) {
    EXPECT_TRUE(sameBits(flightpath::angle(row.z), row.expected))
        << row.why << ": " << flightpath::angle(row.z);
  }
}

TEST(PhaseSlopeFrequency, FewerThanTwoSamplesGiveNaN) {
  EXPECT_TRUE(std::isnan(flightpath::phaseSlopeFrequency({})));
  EXPECT_TRUE(std::isnan(flightpath::phaseSlopeFrequency(column<creal32_T>({{1.0F, 2.0F}}))));
}

// EXACT: one quarter turn; the float 2 pi is four times the float pi / 2.
TEST(PhaseSlopeFrequency, TwoSamplesGiveTheirStepNegated) {
  EXPECT_TRUE(sameBits(
      flightpath::phaseSlopeFrequency(column<creal32_T>({{1.0F, 0.0F}, {0.0F, 1.0F}})), -0.25F));
  EXPECT_TRUE(sameBits(
      flightpath::phaseSlopeFrequency(column<creal32_T>({{1.0F, 0.0F}, {0.0F, -3.0F}})), 0.25F));
}

// BOUND: samples, product and arc tangent round a step's angle by at most about 4 u pi each, which
// does not grow in the mean; the sum of N - 1 steps of at most pi rounds by (N - 1) u pi. In turns,
// divided by 2 pi: (N + 8) u.
TEST(PhaseSlopeFrequency, FindsTheFrequencyOfOneTone) {
  for (const double f : {0.1, -0.1, 0.0, 0.03, 0.4999, -0.4999, 1e-5}) {
    for (const int N : {2, 3, 64, 260}) {
      EXPECT_NEAR(flightpath::phaseSlopeFrequency(tone(f, N)), f, (N + 8) * 0x1p-24)
          << f << ", " << N << " samples";
    }
  }
}

// BOUND: as above, with blocks of 1024 steps.
TEST(PhaseSlopeFrequency, LongMeasurementsAreSummedInBlocks) {
  const int N = 3000;
  EXPECT_NEAR(flightpath::phaseSlopeFrequency(tone(0.1, N)), 0.1, (1024 + 3 + 8) * 0x1p-24);
}

// BOUND: as above. Noise makes every step different, so a dropped or doubled one would show.
TEST(PhaseSlopeFrequency, IsTheMeanOfAllSteps) {
  std::mt19937_64 random(5);
  const array<creal32_T, 1> x = support::measure({{0.2}}, 50, 15.0, random);
  EXPECT_NEAR(flightpath::phaseSlopeFrequency(x),
              support::referencePhaseSlope(support::toDouble({x.begin(), x.end()})), 58 * 0x1p-24);
}

// EXACT: three quarter turns forward and one step of no turn at all, from a zero sample.
TEST(PhaseSlopeFrequency, ZeroSampleCountsAsAStepOfZero) {
  const array<creal32_T, 1> x =
      column<creal32_T>({{1.0F, 0.0F}, {0.0F, 1.0F}, {-1.0F, 0.0F}, {0.0F, 0.0F}, {0.0F, -1.0F}});
  EXPECT_TRUE(sameBits(flightpath::phaseSlopeFrequency(x), -0.125F));
}

TEST(PhaseSlopeFrequency, NaNSampleGivesNaN) {
  array<creal32_T, 1> x = tone(0.1, 16);
  x[7].im = rtNaNF;
  EXPECT_TRUE(std::isnan(flightpath::phaseSlopeFrequency(x)));
}
