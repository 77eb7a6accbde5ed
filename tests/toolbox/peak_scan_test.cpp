#include "flightpath/toolbox/peak_scan.h"

#include <gtest/gtest.h>

#include <vector>

#include "flightpath/runtime/nonfinite.h"
#include "tests/support/builders.h"
#include "tests/support/slow_peaks.h"

using support::toVector;

namespace {

struct Lists {
  std::vector<int> peaks;
  std::vector<int> infinite;
  std::vector<int> inflections;
};

Lists scan(const std::vector<float>& y) {
  coder::array<int, 1> peaks = support::column(std::vector<int>(50, -1));
  coder::array<int, 1> infinite;
  coder::array<int, 1> inflections = support::column({-1});
  coder::scanPeaks(support::column(y), peaks, infinite, inflections);
  return {toVector(peaks), toVector(infinite), toVector(inflections)};
}

void expectAsSlowModel(const std::vector<float>& y) {
  const Lists lists = scan(y);
  ASSERT_EQ(lists.peaks, support::slowFinitePeaks(y)) << testing::PrintToString(y);
  ASSERT_EQ(lists.infinite, support::slowInfiniteSamples(y)) << testing::PrintToString(y);
  ASSERT_EQ(lists.inflections, support::slowInflections(y)) << testing::PrintToString(y);
}

struct ScanRow {
  std::vector<float> y;
  Lists expected;
  const char* why;
};

const float infF = rtInfF;
const float nanF = rtNaNF;

// Every list by hand.
const ScanRow scanRows[] = {
    {{}, {{}, {}, {}}, "empty"},
    {{1}, {{}, {}, {1}}, "one sample is the end"},
    {{infF}, {{}, {1}, {}}, "one infinity"},
    {{nanF}, {{}, {}, {}}, "one NaN is not recorded"},
    {{-infF}, {{}, {}, {1}}, "one minus infinity is a number"},
    {{2, 2, 2}, {{}, {}, {3}}, "constant"},
    {{1, 2, 3}, {{}, {}, {1, 3}}, "rising: the ends are no peaks"},
    {{3, 2, 1}, {{}, {}, {1, 3}}, "falling: the ends are no peaks"},
    {{3, 1, 2}, {{}, {}, {1, 2, 3}}, "a valley"},
    {{1, 3, 2}, {{2}, {}, {1, 2, 3}}, "a peak"},
    {{1, 3, 3, 2}, {{2}, {}, {1, 2, 4}}, "a flat top counts at its first sample"},
    {{1, 2, 2, 3, 1}, {{4}, {}, {1, 4, 5}}, "a flat step is no peak"},
    {{1, 3, 3}, {{}, {}, {1, 3}}, "a flat end is no peak; the last sample stands for it"},
    {{3, 3, 1}, {{}, {}, {1, 3}}, "a flat start is no peak"},
    {{-infF, 0, -infF}, {{2}, {}, {1, 2, 3}}, "minus infinity is a lower neighbour"},
    {{0, -infF, 0}, {{}, {}, {1, 2, 3}}, "minus infinity is never a peak"},
    {{0, 5, nanF, 5, 0}, {{}, {}, {1, 2, 3, 4, 5}}, "neighbours of a NaN are no peaks"},
    {{0, 5, infF, 5, 0}, {{}, {3}, {1, 2, 3, 4, 5}}, "neighbours of an infinity are no peaks"},
    {{0, infF, infF, 0}, {{}, {2, 3}, {1, 2, 4}}, "every infinity of a run"},
    {{0, infF, nanF, infF, 0}, {{}, {2, 4}, {1, 2, 5}}, "a NaN does not part two infinities"},
    {{0, nanF, infF, 0}, {{}, {3}, {1, 2, 4}}, "the run begins at the NaN"},
    {{infF, 1, 2, 1}, {{3}, {1}, {2, 3, 4}}, "an infinity in front starts nothing"},
    {{nanF, nanF, 1, 2, 1}, {{4}, {}, {3, 4, 5}}, "NaNs in front start nothing"},
    {{1, 2, 1, infF}, {{2}, {4}, {1, 2, 3}}, "an infinity at the end is not recorded as a turn"},
    {{1, 2, 1, nanF, 1, 2, 1}, {{2, 6}, {}, {1, 2, 3, 4, 5, 6, 7}}, "a peak on either side"},
    {{0.0F, -0.0F, 0.0F}, {{}, {}, {3}}, "zeros of either sign are one run"},
};

}  // namespace

// EXACT
TEST(PeakScan, FindsRunsEnteredRisingAndLeftFalling) {
  for (const ScanRow& row : scanRows) {
    EXPECT_EQ(scan(row.y).peaks, row.expected.peaks) << row.why;
  }
}

// EXACT
TEST(PeakScan, ListsEveryInfiniteSampleAndNoNaN) {
  for (const ScanRow& row : scanRows) {
    EXPECT_EQ(scan(row.y).infinite, row.expected.infinite) << row.why;
  }
}

// EXACT
TEST(PeakScan, ListsTurnsBreaksAndTheEnd) {
  for (const ScanRow& row : scanRows) {
    EXPECT_EQ(scan(row.y).inflections, row.expected.inflections) << row.why;
  }
}

// EXACT
TEST(PeakScan, AgreesWithTheSlowModelOnEveryShortSequence) {
  support::forEverySequence({-infF, 0, 1, 2, infF, nanF}, 6, [](const std::vector<float>& y) {
    ASSERT_NO_FATAL_FAILURE(expectAsSlowModel(y));
  });
}

// EXACT
TEST(PeakScan, AgreesWithTheSlowModelOnLongerSequences) {
  support::forRandomSequences(
      {-infF, -0.0F, 0, 1, 2, 3, infF, nanF}, 5000, 31,
      [](const std::vector<float>& y) { ASSERT_NO_FATAL_FAILURE(expectAsSlowModel(y)); });
}
