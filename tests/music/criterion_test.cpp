#include "flightpath/music/detail/criterion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "flightpath/music/likelihood.h"
#include "flightpath/runtime/nonfinite.h"
#include "tests/support/builders.h"
#include "tests/support/same_bits.h"

using coder::array;
using support::column;
using support::sameBits;

namespace {

array<double, 1> criterionOf(const array<float, 1>& eigenvalues, bool smoothed) {
  array<double, 1> Q = column({9.0, 9.0});
  flightpath::criterion(eigenvalues, smoothed, Q);
  return Q;
}

}  // namespace

// EXACT
TEST(DropNonPositive, KeepsPositiveAndNaN_InOrder) {
  struct Row {
    std::vector<float> before;
    std::vector<float> after;
    const char* why;
  };
  const Row rows[] = {
      {{}, {}, "empty"},
      {{3.0F, 1.0F}, {3.0F, 1.0F}, "nothing to drop"},
      {{3.0F, -1e-9F}, {3.0F}, "rounding noise below zero"},
      {{3.0F, 1e-30F}, {3.0F, 1e-30F}, "small is not zero"},
      {{3.0F, 1e-45F}, {3.0F, 1e-45F}, "the smallest float is not zero"},
      {{3.0F, 0.0F, -0.0F}, {3.0F}, "both zeros"},
      {{0.0F}, {}, "none left"},
      {{rtNaNF, 2.0F, -1.0F, rtNaNF}, {rtNaNF, 2.0F, rtNaNF}, "NaN stays"},
      {{rtInfF, 1.0F, rtMinusInfF}, {rtInfF, 1.0F}, "infinities by their sign"},
      {{5.0F, 0.0F, 4.0F, -2.0F, 3.0F}, {5.0F, 4.0F, 3.0F}, "the order of the rest"},
  };
  for (const Row& row : rows) {
    array<float, 1> values = column(row.before);
    flightpath::dropNonPositive(values);
    EXPECT_TRUE(sameBits(values, column(row.after))) << row.why;
  }
}

// EXACT: penalties by hand, added to the likelihood in float.
TEST(Criterion, IsPenaltyPlusLikelihood) {
  struct Row {
    std::vector<float> eigenvalues;
    bool smoothed;
    std::vector<float> penalties;
    const char* why;
  };
  const Row rows[] = {
      {{}, true, {}, "no eigenvalue"},
      {{2.0F}, false, {0.0F}, "one"},
      {{7.0F, 0.3F, 0.1F}, false, {0.0F, 5.0F, 8.0F}, "(6 - k) k"},
      {{7.0F, 0.3F, 0.1F}, true, {0.0F, 3.0F, 5.0F}, "(7 - k) k / 2"},
      {{9.0F, 4.0F, 0.3F, 0.1F}, false, {0.0F, 7.0F, 12.0F, 15.0F}, "(8 - k) k"},
      {{9.0F, 4.0F, 0.3F, 0.1F}, true, {0.0F, 4.0F, 7.0F, 9.0F}, "(9 - k) k / 2"},
  };
  for (const Row& row : rows) {
    const array<float, 1> eigenvalues = column(row.eigenvalues);
    const array<double, 1> Q = criterionOf(eigenvalues, row.smoothed);
    ASSERT_EQ(Q.numel, eigenvalues.numel) << row.why;
    for (int k = 0; k < Q.numel; ++k) {
      const float expected = row.penalties[static_cast<std::size_t>(k)] +
                             coder::phased::internal::Ld(k, eigenvalues, eigenvalues.numel);
      EXPECT_TRUE(sameBits(Q[k], static_cast<double>(expected))) << row.why << ", k = " << k;
    }
  }
}

// EXACT: equal eigenvalues of 1 have a likelihood of 0. (8200 - 4097) 4097 = 16809991 is odd and
// above 2^24, so the nearest float is its even neighbour.
TEST(Criterion, PenaltyIsRoundedToFloat) {
  array<float, 1> ones;
  ones.set_size(4100);
  std::fill(ones.begin(), ones.end(), 1.0F);
  const array<double, 1> Q = criterionOf(ones, false);
  EXPECT_TRUE(sameBits(Q[0], 0.0));
  EXPECT_TRUE(sameBits(Q[1], 8199.0));
  EXPECT_TRUE(sameBits(Q[4097], 16809992.0));
}

TEST(Criterion, SmallEigenvalueTakesPartInTheGeometricMean) {
  const array<double, 1> with = criterionOf(column({1.0F, 1.0F, 1e-30F}), true);
  const array<double, 1> without = criterionOf(column({1.0F, 1.0F}), true);
  EXPECT_GT(with[0], without[0] + 60.0) << "log 1e30 is 69";
}

// EXACT
TEST(CountAtMinimum, FollowsItsTable) {
  struct Row {
    std::vector<double> Q;
    float expected;
    const char* why;
  };
  const double nan = rtNaN;
  const double inf = rtInf;
  const Row rows[] = {
      {{}, 0.0F, "no eigenvalue left"},
      {{3.0}, 0.0F, "one"},
      {{nan}, 0.0F, "one NaN"},
      {{2.0, 1.0}, 1.0F, "two, falling"},
      {{1.0, 2.0}, 0.0F, "two, rising"},
      {{1.0, 1.0}, 0.0F, "two equal: no strict improvement"},
      {{nan, 1.0}, 1.0F, "a NaN start gives way"},
      {{nan, inf}, 1.0F, "to anything"},
      {{1.0, nan}, 0.0F, "NaN never wins"},
      {{nan, nan}, 0.0F, "all NaN"},
      {{inf, inf}, 0.0F, "equal infinities"},
      {{3.0, 2.0, 1.0}, 2.0F, "the last"},
      {{3.0, 1.0, 2.0}, 1.0F, "inside"},
      {{3.0, 1.0, 1.0}, 1.0F, "the first of equals"},
      {{1.0, 1.0, 1.0}, 0.0F, "all equal"},
      {{nan, 5.0, 3.0}, 2.0F, "NaN start, smallest behind"},
      {{nan, 3.0, 5.0}, 1.0F, "NaN start, its successor is the smallest"},
      {{nan, nan, 5.0}, 2.0F, "two NaNs"},
      {{nan, nan, nan}, 0.0F, "all NaN"},
      {{2.0, nan, 1.0}, 2.0F, "NaN between"},
      {{1.0, nan, 2.0}, 0.0F, "NaN between never replaces"},
      {{0.0, -0.0, 0.0}, 0.0F, "signed zeros are equal"},
      {{inf, -inf, 0.0}, 1.0F, "-inf is the smallest"},
      {{nan, inf, inf}, 1.0F, "NaN start, then the first of equals"},
  };
  for (const Row& row : rows) {
    EXPECT_TRUE(sameBits(flightpath::countAtMinimum(column(row.Q)), row.expected)) << row.why;
  }
}
