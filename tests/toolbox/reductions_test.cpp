#include "flightpath/toolbox/reductions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <set>
#include <vector>

#include "flightpath/runtime/nonfinite.h"
#include "tests/support/builders.h"
#include "tests/support/same_bits.h"
#include "tests/support/slow_sum.h"

using coder::array;
using support::sameBits;
using support::slowBlockedSum;

namespace {

/// Values of very different sizes: nearly every addition rounds.
std::vector<float> roundingValues(std::size_t n, std::uint64_t seed) {
  std::mt19937_64 random(seed);
  std::uniform_real_distribution<float> exponent(-3.0F, 3.0F);
  std::vector<float> x(n);
  std::ranges::generate(x, [&] { return std::pow(10.0F, exponent(random)); });
  return x;
}

/// 2^24 and then ones. A one added to 2^24 is lost to rounding; a block of ones is not.
std::vector<float> onesBehindALargeValue(std::size_t n) {
  std::vector<float> x(n, 1.0F);
  x.front() = 16777216.0F;
  return x;
}

struct BlockRow {
  int n;
  float expected;
  const char* why;
};

/// The sums of `onesBehindALargeValue`, by hand: floats from 2^24 to 2^25 are two apart.
const BlockRow onesBehindALargeValueRows[] = {
    {1, 16777216.0F, "one element"},
    {1023, 16777216.0F, "every one is lost"},
    {1024, 16777216.0F, "one full block"},
    {1025, 16777216.0F, "a second block of a single one is lost too"},
    {1026, 16777218.0F, "a second block of two counts"},
    {2047, 16778240.0F, "a block of 1023: the tie goes to the even neighbour, 1024 above"},
    {2048, 16778240.0F, "two full blocks"},
    {2049, 16778240.0F, "a third block of a single one: the tie goes to the even neighbour"},
    {2050, 16778242.0F, "a third block of two"},
    {3072, 16779264.0F, "three full blocks"},
};

}  // namespace

// EXACT
TEST(BlockedSummation, OnesAddUpAcrossBlocks) {
  const array<float, 1> ones = support::column(std::vector<float>(3000, 1.0F));
  for (const int n : {0, 1, 2, 1023, 1024, 1025, 2047, 2048, 2049, 3000}) {
    EXPECT_EQ(coder::blockedSummation(ones, n), static_cast<float>(n)) << n;
  }
}

// EXACT: sums found by hand, all but the first four and the single ones of which plain
// left-to-right addition would leave at 2^24.
TEST(BlockedSummation, LaterBlocksAreAddedAsTotals) {
  for (const BlockRow& row : onesBehindALargeValueRows) {
    const auto x = onesBehindALargeValue(static_cast<std::size_t>(row.n));
    EXPECT_TRUE(sameBits(coder::blockedSummation(support::column(x), row.n), row.expected))
        << row.why;
  }
}

// EXACT: against the slow model. Any other block length is caught by the bits of some seed.
TEST(BlockedSummation, GroupsByBlocksOf1024) {
  struct Row {
    std::size_t n;
    std::vector<std::size_t> otherBlocks;
    const char* why;
  };
  const Row rows[] = {
      {1023, {512, 1021}, "less than a block"},
      {1024, {512, 1021, 1022}, "one block"},
      {1025, {512, 1022, 1023}, "one more than a block, which no longer block can tell apart"},
      {1026, {512, 1023, 1025, 5000}, "two more than a block"},
      {2047, {512, 1023, 1025, 2048, 5000}, "one less than two blocks"},
      {2048, {512, 1023, 1025, 2048, 5000}, "two blocks"},
      {2049, {512, 1023, 1025, 2048, 5000}, "one more than two blocks"},
      {5000, {512, 1023, 1025, 2048, 5000}, "five blocks, the last one not full"},
  };
  for (const Row& row : rows) {
    std::set<std::size_t> caught;
    for (std::uint64_t seed = 0; seed < 20; ++seed) {
      const auto x = roundingValues(row.n, seed);
      const float sum = coder::blockedSummation(support::column(x), static_cast<int>(row.n));
      EXPECT_TRUE(sameBits(sum, slowBlockedSum(x, 1024))) << row.why;
      for (const std::size_t block : row.otherBlocks) {
        if (!sameBits(sum, slowBlockedSum(x, block))) {
          caught.insert(block);
        }
      }
    }
    EXPECT_EQ(caught.size(), row.otherBlocks.size()) << row.why;
  }
}

// EXACT
TEST(BlockedSummation, GoesFromLeftToRight) {
  const float half = std::numeric_limits<float>::epsilon() / 2.0F;
  EXPECT_TRUE(sameBits(coder::blockedSummation(support::column({half, half, 1.0F}), 3),
                       1.0F + std::numeric_limits<float>::epsilon()));
  EXPECT_TRUE(sameBits(coder::blockedSummation(support::column({1.0F, half, half}), 3), 1.0F));
}

// EXACT
TEST(BlockedSummation, TakesOnlyTheLeadingElementsThereAre) {
  const array<float, 1> x = support::column({1.0F, 2.0F, 4.0F, rtNaNF});
  struct Row {
    int vlen;
    float expected;
    const char* why;
  };
  const Row rows[] = {
      {0, 0.0F, "none"},
      {1, 1.0F, "the first"},
      {3, 7.0F, "the NaN behind them is not read"},
      {4, rtNaNF, "NaN passes through"},
      {100, rtNaNF, "as many as there are"},
      {std::numeric_limits<int>::max(), rtNaNF, "as many as there are"},
      {-1, 0.0F, "negative is none"},
      {std::numeric_limits<int>::min(), 0.0F, "negative is none"},
  };
  for (const Row& row : rows) {
    EXPECT_TRUE(sameBits(coder::blockedSummation(x, row.vlen), row.expected)) << row.why;
  }
}

// EXACT: the sum starts from the first element and not from a zero, which would take its sign.
TEST(BlockedSummation, KeepsTheSignOfNegativeZeros) {
  EXPECT_TRUE(sameBits(coder::blockedSummation(support::column({-0.0F}), 1), -0.0F));
  const std::vector<float> zeros(2049, -0.0F);
  EXPECT_TRUE(sameBits(coder::blockedSummation(support::column(zeros), 2049), -0.0F));
}

// EXACT
TEST(BlockedSummation, OfAnEmptyColumnIsZero) {
  EXPECT_TRUE(sameBits(coder::blockedSummation(array<float, 1>(), 0), 0.0F));
  EXPECT_TRUE(sameBits(coder::blockedSummation(array<float, 1>(), 5), 0.0F));
}

// EXACT
TEST(BlockedSummation, InfinitiesFollowTheirArithmetic) {
  EXPECT_TRUE(sameBits(coder::blockedSummation(support::column({1.0F, rtInfF}), 2), rtInfF));
  EXPECT_TRUE(std::isnan(coder::blockedSummation(support::column({rtInfF, rtMinusInfF}), 2)));
}

namespace {

/// rows x cols in storage order, the value of every element by its row and column.
template <class Value>
array<float, 2> matrixOf(int rows, int cols, Value value) {
  array<float, 2> a;
  a.set_size(rows, cols);
  for (int j = 0; j < cols; ++j) {
    for (int i = 0; i < rows; ++i) {
      a(i, j) = value(i, j);
    }
  }
  return a;
}

array<float, 1> rowSums(const array<float, 2>& x) {
  array<float, 1> y = support::column(std::vector<float>(40, 99.0F));
  coder::sum(x, y);
  return y;
}

}  // namespace

// EXACT: the hand-made sums of the column form, beside a row of ones and a row of zeros.
TEST(RowSum, LaterBlocksOfColumnsAreAddedAsTotals) {
  for (const BlockRow& row : onesBehindALargeValueRows) {
    const array<float, 2> x = matrixOf(3, row.n, [](int i, int j) {
      return i == 0 && j == 0 ? 16777216.0F : static_cast<float>(i < 2);
    });
    EXPECT_TRUE(
        sameBits(rowSums(x), support::column({row.expected, static_cast<float>(row.n), 0.0F})))
        << row.why;
  }
}

// EXACT: against the slow model, row by row.
TEST(RowSum, GroupsColumnsByBlocksOf1024) {
  for (const int cols : {1, 2, 1023, 1024, 1025, 1026, 2047, 2048, 2049, 3100}) {
    for (const int rows : {1, 2, 7, 33}) {
      std::vector<std::vector<float>> values;
      std::vector<float> expected;
      for (unsigned i = 0; i < static_cast<unsigned>(rows); ++i) {
        values.push_back(roundingValues(static_cast<std::size_t>(cols), i));
        expected.push_back(slowBlockedSum(values.back(), 1024));
      }
      const array<float, 2> x = matrixOf(rows, cols, [&](int i, int j) {
        return values[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)];
      });
      EXPECT_TRUE(sameBits(rowSums(x), support::column(expected))) << rows << " x " << cols;
    }
  }
}

// EXACT
TEST(RowSum, OfNoColumnsIsZeroAndOfNoRowsIsEmpty) {
  const auto nothing = [](int, int) { return 0.0F; };
  EXPECT_TRUE(sameBits(rowSums(matrixOf(3, 0, nothing)), support::column({0.0F, 0.0F, 0.0F})));
  for (const int cols : {0, 1, 5, 2049}) {
    EXPECT_EQ(rowSums(matrixOf(0, cols, nothing)).size[0], 0) << cols;
  }
}

// EXACT: no zero is added in front, and what is not a number stays in its row.
TEST(RowSum, RowsStayApart) {
  const array<float, 2> x =
      support::matrix<float>(4, 2, {-0.0F, rtNaNF, rtInfF, 1.0F, -0.0F, 1.0F, rtMinusInfF, 2.0F});
  EXPECT_TRUE(sameBits(rowSums(x), support::column({-0.0F, rtNaNF, rtNaNF, 3.0F})));
}

namespace {

struct MaximumRow {
  std::vector<float> x;
  float expected;
  int idx;
  const char* why;
};

struct MinimumRow {
  std::vector<double> x;
  double expected;
  const char* why;
};

}  // namespace

// EXACT
TEST(Maximum, IgnoresNaNsAndTakesTheFirstOfEquals) {
  const MaximumRow rows[] = {
      {{}, rtNaNF, 1, "empty"},
      {{3}, 3, 1, "one element"},
      {{rtNaNF}, rtNaNF, 1, "one NaN"},
      {{1, 2}, 2, 2, "two, rising"},
      {{2, 1}, 2, 1, "two, falling"},
      {{2, 2}, 2, 1, "two equals"},
      {{rtNaNF, 1}, 1, 2, "two, NaN first"},
      {{1, rtNaNF}, 1, 1, "two, NaN last"},
      {{rtNaNF, rtNaNF}, rtNaNF, 1, "two NaNs"},
      {{rtMinusInfF, rtNaNF}, rtMinusInfF, 1, "minus infinity is a number"},
      {{rtNaNF, rtMinusInfF}, rtMinusInfF, 2, "minus infinity is a number"},
      {{-0.0F, 0.0F}, -0.0F, 1, "zeros are equal"},
      {{0.0F, -0.0F}, 0.0F, 1, "zeros are equal"},
      {{rtNaNF, 2, 5, 5}, 5, 3, "first of the equal maxima behind a NaN"},
      {{1, 5, rtNaNF, 5, 2}, 5, 2, "NaN between the equal maxima"},
      {{3, 1, 2}, 3, 1, "first"},
      {{1, 2, 3}, 3, 3, "last"},
      {{1, rtInfF, rtInfF}, rtInfF, 2, "first of two infinities"},
      {{rtNaNF, rtNaNF, rtNaNF}, rtNaNF, 1, "three NaNs"},
      {{rtNaNF, rtNaNF, 4}, 4, 3, "the only number last"},
      {{rtNaNF, rtMinusInfF, rtNaNF}, rtMinusInfF, 2, "the only number is minus infinity"},
      {{-0.0F, 0.0F, 0.0F}, -0.0F, 1, "zeros are equal among three"},
  };
  for (const MaximumRow& row : rows) {
    int idx = -7;
    EXPECT_TRUE(sameBits(coder::internal::maximum(support::column(row.x), idx), row.expected))
        << row.why;
    EXPECT_EQ(idx, row.idx) << row.why;
  }
}

// EXACT
TEST(Minimum, IgnoresNaNsAndTakesTheFirstOfEquals) {
  const MinimumRow rows[] = {
      {{}, rtNaN, "empty"},
      {{3}, 3, "one element"},
      {{rtNaN}, rtNaN, "one NaN"},
      {{1, 2}, 1, "two, rising"},
      {{2, 1}, 1, "two, falling"},
      {{rtNaN, 1}, 1, "two, NaN first"},
      {{1, rtNaN}, 1, "two, NaN last"},
      {{rtNaN, rtNaN}, rtNaN, "two NaNs"},
      {{rtInf, rtNaN}, rtInf, "infinity is a number"},
      {{rtNaN, rtInf}, rtInf, "infinity is a number"},
      {{-0.0, 0.0}, -0.0, "zeros are equal"},
      {{0.0, -0.0}, 0.0, "zeros are equal"},
      {{rtNaN, 3, rtNaN, 1}, 1, "NaNs on the way"},
      {{1, rtNaN, 3}, 1, "first"},
      {{3, 2, 1}, 1, "last"},
      {{rtNaN, rtNaN, rtNaN}, rtNaN, "three NaNs"},
      {{rtNaN, rtNaN, 4}, 4, "the only number last"},
      {{rtNaN, rtInf, rtNaN}, rtInf, "the only number is infinity"},
      {{2, rtMinusInf, 1}, rtMinusInf, "minus infinity"},
      {{0.0, -0.0, 0.0}, 0.0, "zeros are equal among three"},
      {{1.0, 1.0 - 1.0e-16, 2.0}, 1.0 - 1.0e-16, "in double, not in float"},
  };
  for (const MinimumRow& row : rows) {
    EXPECT_TRUE(sameBits(coder::internal::minimum(support::column(row.x)), row.expected))
        << row.why;
  }
}
