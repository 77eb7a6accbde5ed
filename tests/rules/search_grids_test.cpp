#include "flightpath/rules/search_grids.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <string>

#include "flightpath/runtime/nonfinite.h"
#include "tests/support/same_bits.h"

using support::sameBits;

// EXACT: powers of two.
TEST(CoarseFFTLength, IsThePowerOfTwoNearestToTheSteps) {
  struct Row {
    float resolution;
    float expected;
    const char* why;
  };
  const Row rows[] = {
      {1.0F / 1920.0F, 2048.0F, "64 subcarriers: log2 1920 = 10.9"},
      {1.0F / 1440.0F, 1024.0F, "48 subcarriers: log2 1440 = 10.49"},
      {1.0F / 1500.0F, 2048.0F, "50 subcarriers: log2 1500 = 10.55"},
      {0x1p-11F, 2048.0F, "exactly"},
      {0.3F, 4.0F, "log2 3.33 = 1.74"},
      {0.5F, 2.0F, "two points"},
      {1.0F, 1.0F, "one point"},
      {1.2F, 1.0F, "log2 0.83 = -0.26"},
      {2.0F, 0.5F, "less than a point"},
      {1e30F, 0x1p-100F, "log2 1e-30 = -99.7"},
      {rtInfF, 0.0F, "log2 0 = -inf"},
      {rtMinusInfF, 0.0F, "1 / -inf is a zero too"},
      {rtNaNF, rtNaNF, "NaN"},
      {-0.1F, rtNaNF, "the logarithm of a negative number"},
      {0x1p-24F, 0x1p24F, "the longest"},
      {0x1.8p-25F, 0x1p24F, "log2 = 24.4 rounds to the longest"},
  };
  for (const Row& row : rows) {
    EXPECT_TRUE(sameBits(flightpath::coarseFFTLength(row.resolution), row.expected))
        << row.resolution << ": " << row.why;
  }
}

TEST(CoarseFFTLength, MoreThanTheLongestIsRefused_NamingTheResolution) {
  struct Row {
    float resolution;
    const char* why;
  };
  const Row rows[] = {{0x1.4p-25F, "log2 = 24.7"},
                      {0x1p-25F, "2^25"},
                      {1e-30F, "2^100"},
                      {1e-45F, "its reciprocal is infinite"},
                      {0.0F, "infinite"}};
  for (const Row& row : rows) {
    try {
      flightpath::coarseFFTLength(row.resolution);
      ADD_FAILURE() << row.why;
    } catch (const std::length_error& error) {
      EXPECT_NE(std::string(error.what()).find("CoarseResolution"), std::string::npos)
          << error.what();
    }
  }
}

// 1 / -0 is -inf, whose logarithm is NaN: nothing to search.
TEST(CoarseFFTLength, NegativeZeroIsNegative) {
  EXPECT_TRUE(std::isnan(flightpath::coarseFFTLength(-0.0F)));
}

// EXACT: powers of two, both ends and the middle.
TEST(FineOffsets, GoFromOneEndToTheOtherInTheStatedStep) {
  coder::array<float, 2> offsets;
  flightpath::fineOffsets(0x1p-8F, 0x1p-11F, 1, offsets);
  ASSERT_EQ(offsets.numel, 17);
  for (int i = 0; i < 17; ++i) {
    EXPECT_EQ(offsets[i], static_cast<float>(i - 8) * 0x1p-11F) << i;
  }
}
