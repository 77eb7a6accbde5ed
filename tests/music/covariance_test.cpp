#include "flightpath/music/detail/covariance.h"

#include <gtest/gtest.h>

#include <cmath>

#include "flightpath/runtime/nonfinite.h"
#include "tests/support/builders.h"
#include "tests/support/call_counter.h"
#include "tests/support/channels.h"
#include "tests/support/same_bits.h"

using coder::array;
using support::column;
using support::sameBits;

namespace {

array<creal32_T, 2> covariance(const array<creal32_T, 1>& x, bool uniformlySampled) {
  array<creal32_T, 2> A;
  flightpath::sampleCovariance(x, uniformlySampled, A);
  return A;
}

}  // namespace

// EXACT: x = (1 + 2i, 3 - i, -2): whole numbers.
TEST(SampleCovariance, OuterProductWithoutSmoothing_NotScaled) {
  const array<creal32_T, 1> x = column<creal32_T>({{1.0F, 2.0F}, {3.0F, -1.0F}, {-2.0F, 0.0F}});
  const array<creal32_T, 2> expected = support::matrix<creal32_T>(3, 3,
                                                                  {{5.0F, 0.0F},
                                                                   {1.0F, -7.0F},
                                                                   {-2.0F, 4.0F},
                                                                   {1.0F, 7.0F},
                                                                   {10.0F, 0.0F},
                                                                   {-6.0F, -2.0F},
                                                                   {-2.0F, -4.0F},
                                                                   {-6.0F, 2.0F},
                                                                   {4.0F, 0.0F}});
  EXPECT_TRUE(sameBits(covariance(x, false), expected));
}

// EXACT: the outer product is Hermitian in float already, so halving the doubled entry restores
// fl(fl(re re) + fl(im im)) and fl(fl(im re) - fl(re im)).
TEST(SampleCovariance, ProductsAreSinglePrecision) {
  const creal32_T a{0.1F, 0.7F};
  const creal32_T b{-0.3F, 0.9F};
  const array<creal32_T, 2> A = covariance(column<creal32_T>({a, b}), false);
  const float re = a.re * b.re + a.im * b.im;
  const float im = a.im * b.re - a.re * b.im;
  EXPECT_TRUE(sameBits(A(0, 1), creal32_T{re, im}));
  EXPECT_TRUE(sameBits(A(1, 0), creal32_T{re, -im}));
}

TEST(SampleCovariance, OuterProductNeedsNoMatrixProduct_SmoothingOne) {
  const array<creal32_T, 1> x = support::threeTones(12);
  const int before = support::callCounts().matrixProducts;
  covariance(x, false);
  EXPECT_EQ(support::callCounts().matrixProducts, before);
  covariance(x, true);
  EXPECT_EQ(support::callCounts().matrixProducts, before + 1);
}

// EXACT: a + b does not depend on the order of a and b, and a - b is -(b - a).
TEST(SampleCovariance, IsExactlyHermitianForFiniteData) {
  for (const int N : {1, 2, 3, 10, 30, 64}) {
    for (const bool smoothed : {false, true}) {
      const array<creal32_T, 2> A = covariance(support::threeTones(N), smoothed);
      ASSERT_EQ(A.size[0], A.size[1]);
      for (int j = 0; j < A.size[1]; ++j) {
        for (int i = 0; i <= j; ++i) {
          EXPECT_EQ(A(i, j).re, A(j, i).re) << N << ", smoothed " << smoothed;
          EXPECT_EQ(A(i, j).im, -A(j, i).im) << N << ", smoothed " << smoothed;
        }
      }
    }
  }
}

TEST(SampleCovariance, ExtentIsThatOfTheMethod) {
  EXPECT_EQ(covariance(support::threeTones(30), false).size[0], 30);
  EXPECT_EQ(covariance(support::threeTones(30), true).size[0], 23);
}

TEST(SampleCovariance, EmptyMeasurementGivesAnEmptyMatrix) {
  for (const bool smoothed : {false, true}) {
    const array<creal32_T, 2> A = covariance({}, smoothed);
    EXPECT_EQ(A.size[0], 0);
    EXPECT_EQ(A.size[1], 0);
  }
}

TEST(SampleCovariance, NaNStaysInItsRowAndColumnOfTheOuterProduct) {
  const array<creal32_T, 2> A =
      covariance(column<creal32_T>({{1.0F, 0.0F}, {rtNaNF, 0.0F}, {2.0F, 0.0F}}), false);
  EXPECT_TRUE(std::isnan(A(1, 1).re));
  EXPECT_TRUE(std::isnan(A(0, 1).re));
  EXPECT_TRUE(std::isnan(A(1, 2).re));
  EXPECT_TRUE(sameBits(A(0, 2), creal32_T{2.0F, 0.0F}));
}
