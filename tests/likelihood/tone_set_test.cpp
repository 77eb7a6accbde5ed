#include "flightpath/likelihood/tone_set.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/slow_likelihood.h"
#include "tests/support/tones.h"

using flightpath::ToneSet;
using support::joined;
using support::range;

namespace {

constexpr double eps = std::numeric_limits<double>::epsilon();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

std::string refusal(const std::vector<int>& tones, const std::vector<double>& weights = {}) {
  try {
    const ToneSet set(tones, weights);
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return "";
}

}  // namespace

// BOUND: |f c| up to 0.5 extent loses extent eps of a turn, 2 pi of it in the phase; 4 eps for the
// products, whose factors are made by at most four doublings.
TEST(ToneSet, SteeringVectorsAreTheExponentialsAtEveryTone) {
  std::mt19937_64 random(3);
  for (const std::vector<int>& tones :
       {range(0, 0), range(-5, 10), range(0, 63), range(7, 7 + 241), range(-300, 300, 4),
        support::randomTones(64, 33, random), support::twoBlocks(), std::vector<int>{0, 1, 500000},
        joined(range(-28, -1), range(1, 28)), std::vector<int>{-1000000000, 1000000000}}) {
    ToneSet set(tones, {});
    const support::SlowLikelihood model = {tones, std::vector<double>(tones.size(), 1.0), {}};
    std::vector<double> re(tones.size());
    std::vector<double> im(tones.size());
    for (const double f : {0.0, 0.0125, -0.3, 0.49, 0.5, 1.75}) {
      set.steer(f, re.data(), im.data());
      const auto expected = model.steering(f / set.stride());
      const double bound = 4 * eps + 2 * 3.15 * eps * std::fabs(f) * set.extent() + 16 * eps;
      for (std::size_t k = 0; k < tones.size(); ++k) {
        EXPECT_NEAR(re[k], expected[k].real(), bound) << tones.size() << " tones, " << k;
        EXPECT_NEAR(im[k], expected[k].imag(), bound) << tones.size() << " tones, " << k;
      }
    }
  }
}

// EXACT
TEST(ToneSet, TheStrideIsTheGreatestCommonDivisorOfTheDistances) {
  EXPECT_EQ(ToneSet(range(3, 3), {}).stride(), 1);
  EXPECT_EQ(ToneSet(range(0, 252, 4), {}).stride(), 4);
  EXPECT_EQ(ToneSet(range(0, 252, 4), {}).extent(), 64);
  EXPECT_EQ(ToneSet(std::vector<int>{1, 7, 11}, {}).stride(), 2);
  EXPECT_EQ(ToneSet(std::vector<int>{1, 7, 11}, {}).extent(), 6);
  EXPECT_EQ(ToneSet(std::vector<int>{1, 7, 12}, {}).stride(), 1);
}

// EXACT: small whole numbers and halves.
TEST(ToneSet, TonesAreCentredOnTheirMean) {
  const ToneSet set(std::vector<int>{10, 11, 13, 16}, {});
  EXPECT_EQ(std::vector<double>(set.centred().begin(), set.centred().end()),
            (std::vector<double>{-2.5, -1.5, 0.5, 3.5}));
  EXPECT_EQ(set.moment(0), 4.0);
  EXPECT_EQ(set.moment(1), 0.0);
  EXPECT_EQ(set.moment(2), 21.0);
}

// EXACT: powers of two; the largest comes to within 1 ... 2.
TEST(ToneSet, WeightsAreScaledByAPowerOfTwoAndTakenAsRoots) {
  const ToneSet set(range(0, 3), std::vector<double>{4.0, 16.0, 64.0, 1.0});
  EXPECT_EQ(set.weightScale(), 1.0 / 64.0);
  EXPECT_EQ(std::vector<double>(set.rootsOfWeights().begin(), set.rootsOfWeights().end()),
            (std::vector<double>{0.25, 0.5, 1.0, 0.125}));
  EXPECT_EQ(set.moment(0), 0.0625 + 0.25 + 1.0 + 0.015625);
}

// BOUND: some roundings of a square root, 1e-12.
TEST(ToneSet, IndependentDelaysAreTheNumberOfTonesWithoutGaps) {
  EXPECT_NEAR(ToneSet(range(5, 68), {}).independentDelays(), std::sqrt(64.0 * 64.0 - 1.0), 1e-12);
  EXPECT_GT(ToneSet(support::twoBlocks(), {}).independentDelays(), 96.0);
  EXPECT_EQ(ToneSet(range(9, 9), {}).independentDelays(), 0.0);
}

// BOUND: 1e-9, the share of the tones that hardly count. The bandwidth is that about its own middle.
TEST(ToneSet, IndependentDelaysAreThoseOfTheTonesThatCount) {
  std::vector<double> weights(64, 1e-15);
  std::fill_n(weights.begin(), 16, 1.0);
  EXPECT_NEAR(ToneSet(range(0, 63), weights).independentDelays(), std::sqrt(16.0 * 16.0 - 1.0),
              1e-9);
}

// EXACT
TEST(ToneSet, WhatIsNoSetOfTonesIsRefusedByItsPosition) {
  EXPECT_EQ(refusal({}), "Tones: there are none");
  EXPECT_EQ(refusal({0, 1, 1, 2}), "Tones: a tone is repeated at position 2");
  EXPECT_EQ(refusal({0, 2, 1, 3}), "Tones: a tone is out of order at position 2");
  EXPECT_EQ(refusal({0, 1, 1 << 20}),
            "Tones: the first and the last lie more than 2^20 strides apart");
  EXPECT_EQ(refusal({0, 1, (1 << 20) - 1}), "");
  EXPECT_EQ(refusal({-2147483647, 2147483647}),
            "Tones: the first and the last lie more than 2^31 apart");
  EXPECT_EQ(refusal({0, 1}, {1.0}), "Weights: there is not one per tone");
  for (const double bad : {0.0, -1.0, infinity, notANumber}) {
    EXPECT_EQ(refusal({0, 1, 2}, {1.0, 1.0, bad}),
              "Weights: not a finite number above 0 at position 2");
  }
}
