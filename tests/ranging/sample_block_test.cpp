#include "flightpath/ranging/detail/sample_block.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstddef>
#include <limits>
#include <vector>

using flightpath::SampleBlock;

namespace {

constexpr float inf = std::numeric_limits<float>::infinity();

double largestPart(const SampleBlock& block) {
  double largest = 0.0;
  for (int row = 0; row < block.numRows(); ++row) {
    for (std::size_t k = 0; k < block.re(row).size(); ++k) {
      largest = std::max({largest, std::fabs(block.re(row)[k]), std::fabs(block.im(row)[k])});
    }
  }
  return largest;
}

}  // namespace

// EXACT: powers of two.
TEST(SampleBlock, OnePowerOfTwoForAllRowsBringsTheLargestPartTo1To2) {
  const std::vector<creal32_T> x = {{0.25F, -0.5F}, {0.0F, 0.125F}, {-3.0F, 1.0F}, {0.5F, 0.5F}};
  SampleBlock block(2, 2);
  ASSERT_TRUE(block.take({x, 2}, 0));
  EXPECT_EQ(block.re(0)[0], 0.125);
  EXPECT_EQ(block.im(0)[0], -0.25);
  EXPECT_EQ(block.im(0)[1], 0.0625);
  EXPECT_EQ(block.re(1)[0], -1.5);
  EXPECT_EQ(block.im(1)[1], 0.25);
}

// Both parts count: the larger is the imaginary one in one row, the real one in the other.
TEST(SampleBlock, EitherPartMayBeTheLargest) {
  for (const creal32_T large : {creal32_T{0x1p40F, 1.0F}, creal32_T{1.0F, -0x1p40F}}) {
    const std::vector<creal32_T> x = {{1.0F, 1.0F}, large};
    SampleBlock block(2, 1);
    ASSERT_TRUE(block.take(x, 0));
    EXPECT_EQ(largestPart(block), 1.0);
  }
}

TEST(SampleBlock, TheEndsOfBothPrecisionsScaleWithoutLoss) {
  for (const double size : {1e300, 1e-300, 1.7976931348623157e308, 0x1p-1022}) {
    const std::vector<std::complex<double>> x = {{size, 0.0}, {0.0, -size}};
    SampleBlock block(2, 1);
    ASSERT_TRUE(block.take(x, 0));
    EXPECT_GE(largestPart(block), 0x1p-30) << size;
    EXPECT_LT(largestPart(block), 2.0) << size;
  }
  const std::vector<std::complex<double>> least = {{0x1p-1074, 0.0}};
  SampleBlock block(1, 1);
  ASSERT_TRUE(block.take(least, 0));
  EXPECT_EQ(block.re(0)[0], 0x1p-74) << "as far as one scale goes";
  const std::vector<creal32_T> single = {{1e-45F, 0.0F}};
  ASSERT_TRUE(block.take(single, 0));
  EXPECT_EQ(block.re(0)[0], 1.0);
}

TEST(SampleBlock, AllZeroStaysZero) {
  const std::vector<creal32_T> x(3);
  SampleBlock block(3, 1);
  ASSERT_TRUE(block.take(x, 0));
  EXPECT_EQ(largestPart(block), 0.0);
}

TEST(SampleBlock, RowsAreReadAtTheirStrideFromTheFirstOneOn) {
  std::vector<std::complex<float>> x(12);
  for (std::size_t k = 0; k < x.size(); ++k) {
    x[k] = {1.0F + 0.0625F * static_cast<float>(k), -1.0F};
  }
  SampleBlock block(2, 2);
  ASSERT_TRUE(block.take({x, 2, 3}, 1));
  EXPECT_EQ(block.re(0)[0], 1.0 + 3 * 0.0625);
  EXPECT_EQ(block.re(0)[1], 1.0 + 4 * 0.0625);
  EXPECT_EQ(block.re(1)[0], 1.0 + 6 * 0.0625);
  EXPECT_EQ(block.im(1)[1], -1.0);
}

TEST(SampleBlock, ANonFinitePartInAnyRowIsRefused) {
  for (const float bad : {inf, -inf, std::numeric_limits<float>::quiet_NaN()}) {
    for (std::size_t at = 0; at < 8; ++at) {
      std::vector<float> parts(8, 1.0F);
      parts[at] = bad;
      std::vector<creal32_T> x;
      for (std::size_t k = 0; k < 8; k += 2) {
        x.push_back({parts[k], parts[k + 1]});
      }
      SampleBlock block(2, 2);
      EXPECT_FALSE(block.take({x, 2}, 0)) << bad << " as part " << at;
    }
  }
}
