#include "flightpath/toolbox/peaks.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "flightpath/runtime/nonfinite.h"
#include "tests/support/builders.h"
#include "tests/support/slow_peaks.h"

using coder::array;

namespace {

const float infF = rtInfF;
const float nanF = rtNaNF;
const std::vector<float> threePeaks = {0, 2, 0, 5, 0, 5, 0};

/// What a peak finder reported: every height is y at its position.
std::vector<int> positionsOf(const std::vector<float>& y, const array<float, 1>& pks,
                             const array<double, 1>& locs) {
  EXPECT_EQ(pks.numel, locs.numel);
  std::vector<int> positions;
  for (int k = 0; k < locs.numel; ++k) {
    positions.push_back(static_cast<int>(locs[k]));
    EXPECT_EQ(static_cast<double>(positions.back()), locs[k]);
    EXPECT_EQ(pks[k], y[static_cast<std::size_t>(positions.back() - 1)]);
  }
  return positions;
}

std::vector<int> tallest(const std::vector<float>& y, float maxPeaks) {
  array<float, 1> pks = support::column(std::vector<float>(20, -7.0F));
  array<double, 1> locs = support::column({-7.0});
  coder::findpeaks(support::column(y), maxPeaks, pks, locs);
  return positionsOf(y, pks, locs);
}

std::vector<int> leftmostAbove(const std::vector<float>& y, float maxPeaks, float minHeight) {
  array<float, 1> pks;
  array<double, 1> locs = support::column(std::vector<double>(20, -7.0));
  coder::findpeaks(support::column(y), maxPeaks, minHeight, pks, locs);
  return positionsOf(y, pks, locs);
}

void expectAsSlowModel(const std::vector<float>& y) {
  const auto byHeight = support::slowTallestFirst(y, support::slowPeaksAbove(y, rtMinusInfF));
  for (const float maxPeaks : {nanF, 1.0F, 2.9F}) {
    ASSERT_EQ(tallest(y, maxPeaks), support::atMost(maxPeaks, byHeight))
        << testing::PrintToString(y) << ", at most " << maxPeaks;
    for (const float minHeight : {nanF, rtMinusInfF, 0.0F, 1.0F}) {
      ASSERT_EQ(leftmostAbove(y, maxPeaks, minHeight),
                support::atMost(maxPeaks, support::slowPeaksAbove(y, minHeight)))
          << testing::PrintToString(y) << ", at most " << maxPeaks << " above " << minHeight;
    }
  }
}

struct TallestRow {
  std::vector<float> y;
  float maxPeaks;
  std::vector<int> expected;
  const char* why;
};

struct LeftmostRow {
  std::vector<float> y;
  float maxPeaks;
  float minHeight;
  std::vector<int> expected;
  const char* why;
};

}  // namespace

// EXACT: positions; heights are held against the samples that stand there.
TEST(FindPeaks, TallestFirst_EqualHeightsKeepPosition) {
  const TallestRow rows[] = {
      {threePeaks, 2, {4, 6}, "the two tallest, equal heights by position"},
      {threePeaks, 1, {4}, "the first of the equals"},
      {threePeaks, 3, {4, 6, 2}, "the lowest last"},
      {threePeaks, 9, {4, 6, 2}, "no more than there are"},
      {{0, 1, 0, 3, 0, 2, 0, 4, 0, 3, 0}, infF, {8, 4, 10, 6, 2}, "five heights, an odd one left"},
      {{0, 4, infF, 0, 7, 0, infF, 1}, infF, {3, 7, 5}, "infinities come first"},
      {{0, infF, infF, 0}, infF, {2, 3}, "every infinity of a run"},
      {{1, 3, 3, 2}, infF, {2}, "a flat top counts at its first sample"},
      {{3, 1, 2}, infF, {}, "the ends are no peaks"},
      {{1, 2, 3}, infF, {}, "the ends are no peaks"},
      {{0, 5, nanF, 5, 0}, infF, {}, "both border a NaN"},
      {{0, 5, infF, 5, 0}, infF, {3}, "both border an infinity"},
      {{-infF, -5, -infF}, infF, {2}, "above minus infinity"},
      {{}, infF, {}, "empty"},
      {{infF}, infF, {1}, "one infinity"},
      {{nanF, nanF}, infF, {}, "nothing but NaNs"},
  };
  for (const TallestRow& row : rows) {
    EXPECT_EQ(tallest(row.y, row.maxPeaks), row.expected) << row.why;
  }
}

// EXACT
TEST(FindPeaks, AboveAHeight_LeftmostInAscendingPosition) {
  const LeftmostRow rows[] = {
      {threePeaks, 2, 1, {2, 4}, "the leftmost two, not the tallest"},
      {threePeaks, 9, 1, {2, 4, 6}, "all of them"},
      {threePeaks, 9, 2, {4, 6}, "strictly higher"},
      {threePeaks, 9, 5, {}, "none is higher than the tallest"},
      {threePeaks, 9, rtMinusInfF, {2, 4, 6}, "minus infinity lets all pass"},
      {threePeaks, 9, nanF, {}, "a NaN height lets none pass"},
      {{0, infF, infF, 0}, 9, 1.0e30F, {2, 3}, "infinities pass any height"},
      {{0, infF, 1, 2, 1}, 9, nanF, {2}, "infinities pass a NaN height"},
      {{0, infF, 1, 2, 1}, 9, infF, {2}, "and an infinite one"},
      {{1, 2, 1, infF, 1, 3, 1}, 2, 0, {2, 4}, "infinities stand in their place"},
      {{1, 3, 3, 2}, 9, 0, {2}, "a flat top counts at its first sample"},
      {{0, 5, nanF, 5, 0}, 9, 0, {}, "both border a NaN"},
      {{}, 9, 0, {}, "empty"},
  };
  for (const LeftmostRow& row : rows) {
    EXPECT_EQ(leftmostAbove(row.y, row.maxPeaks, row.minHeight), row.expected) << row.why;
  }
}

// EXACT
TEST(FindPeaks, TheLimitIsTruncatedTowardZero) {
  struct Row {
    float maxPeaks;
    std::size_t count;
    const char* why;
  };
  const Row rows[] = {
      {0.0F, 0, "none"},
      {-0.0F, 0, "none"},
      {0.5F, 0, "below one is none"},
      {0.999F, 0, "below one is none"},
      {1.0F, 1, "one"},
      {1.5F, 1, "truncated"},
      {2.9F, 2, "truncated"},
      {3.0F, 3, "as many as there are"},
      {3.5F, 3, "more than there are"},
      {1.0e30F, 3, "not representable as an int"},
      {infF, 3, "no limit"},
      {nanF, 3, "NaN limits nothing"},
      {-0.5F, 0, "negative is none"},
      {-3.0F, 0, "negative is none"},
      {-1.0e30F, 0, "not representable as an int"},
      {rtMinusInfF, 0, "negative is none"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(tallest(threePeaks, row.maxPeaks).size(), row.count) << row.why;
    EXPECT_EQ(leftmostAbove(threePeaks, row.maxPeaks, 0.0F).size(), row.count) << row.why;
  }
}

// EXACT
TEST(FindPeaks, AgreesWithTheSlowModelOnEveryShortSequence) {
  support::forEverySequence({-infF, 0, 1, 2, infF, nanF}, 6, [](const std::vector<float>& y) {
    ASSERT_NO_FATAL_FAILURE(expectAsSlowModel(y));
  });
}

// EXACT: two finite peaks and more come only with length.
TEST(FindPeaks, AgreesWithTheSlowModelOnLongerSequences) {
  support::forRandomSequences(
      {-infF, 0, 1, 2, infF, nanF}, 2000, 41,
      [](const std::vector<float>& y) { ASSERT_NO_FATAL_FAILURE(expectAsSlowModel(y)); });
  support::forRandomSequences({0, 1, 2, 3}, 2000, 42, [](const std::vector<float>& y) {
    ASSERT_NO_FATAL_FAILURE(expectAsSlowModel(y));
  });
}

// EXACT: hundreds of peaks of few heights, so that every merge meets ties.
TEST(FindPeaks, OrdersManyPeaksStably) {
  for (const int count : {3, 4, 5, 31, 32, 33, 500}) {
    std::mt19937_64 random(43);
    std::vector<float> y = {0};
    for (int k = 0; k < count; ++k) {
      y.push_back(static_cast<float>(std::uniform_int_distribution<int>(1, 5)(random)));
      y.push_back(0);
    }
    const auto expected = support::slowTallestFirst(y, support::slowPeaksAbove(y, 0));
    ASSERT_EQ(expected.size(), static_cast<std::size_t>(count));
    EXPECT_EQ(tallest(y, infF), expected) << count;
  }
}
