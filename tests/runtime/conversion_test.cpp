#include "flightpath/runtime/detail/conversion.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <string>

#include "flightpath/runtime/nonfinite.h"

namespace {

constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t highest = std::numeric_limits<std::int32_t>::max();

}  // namespace

// EXACT
TEST(TruncateWithin, TruncatesTowardZeroAndSaturates) {
  struct Row {
    double value;
    std::int32_t low;
    std::int32_t high;
    std::int32_t expected;
    const char* why;
  };
  const Row rows[] = {
      {2.9, 0, 10, 2, "toward zero"},
      {-2.9, -10, 10, -2, "toward zero from below"},
      {0.5, 0, 10, 0, "below one"},
      {-0.5, -10, 10, 0, "above minus one"},
      {3.0, 0, 10, 3, "integral"},
      {9.999999, 0, 10, 9, "just below the upper limit"},
      {10.0, 0, 10, 10, "the upper limit"},
      {10.5, 0, 10, 10, "above the upper limit"},
      {0.0, 0, 10, 0, "the lower limit"},
      {-1.0, 0, 10, 0, "below the lower limit"},
      {1.5, 1, 10, 1, "just above the lower limit"},
      {7.0, 0, 0, 0, "one value allowed"},
      {rtNaN, 1, 10, 1, "NaN is the lower limit"},
      {rtInf, 0, 10, 10, "infinity saturates"},
      {rtMinusInf, 0, 10, 0, "minus infinity saturates"},
      {1.0e300, lowest, highest, highest, "not representable above"},
      {-1.0e300, lowest, highest, lowest, "not representable below"},
      {2147483647.5, lowest, highest, highest, "just above the largest int"},
      {-2147483648.5, lowest, highest, lowest, "just below the smallest int"},
      {2147483646.9, lowest, highest, highest - 1, "the last but one"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(flightpath::truncateWithin(row.value, row.low, row.high), row.expected) << row.why;
  }
}

// EXACT
TEST(ElementCount, TruncatesAndTakesNoLessThanZero) {
  struct Row {
    double value;
    std::int32_t expected;
    const char* why;
  };
  const Row rows[] = {
      {0.0, 0, "none"},
      {-0.0, 0, "negative zero"},
      {0.99, 0, "below one"},
      {2.7, 2, "truncated"},
      {-3.0, 0, "negative"},
      {rtMinusInf, 0, "minus infinity"},
      {rtNaN, 0, "NaN"},
      {2147483647.0, highest, "as many as an array can hold"},
      {2147483647.9, highest, "truncated to as many as an array can hold"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(flightpath::toElementCount(row.value, "points"), row.expected) << row.why;
  }
}

TEST(ElementCount, MoreThanAnArrayHoldsIsALengthErrorThatNamesTheAsker) {
  for (const double value : {2147483648.0, 1.0e10, 1.0e300, rtInf}) {
    try {
      flightpath::toElementCount(value, "the asker");
      ADD_FAILURE() << value << " was taken";
    } catch (const std::length_error& error) {
      EXPECT_NE(std::string(error.what()).find("the asker"), std::string::npos) << error.what();
    }
  }
}
