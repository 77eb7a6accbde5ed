#include "flightpath/music/smoothing.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "tests/support/builders.h"
#include "tests/support/call_counter.h"
#include "tests/support/channels.h"
#include "tests/support/reference_estimator.h"
#include "tests/support/same_bits.h"

using coder::array;
using support::column;
using support::sameBits;

namespace {

array<creal32_T, 1> noise(int N) {
  std::mt19937_64 random(3);
  return support::measure({}, N, 0.0, random);
}

double peakPower(const array<creal32_T, 1>& x) {
  double peak = 0.0;
  for (const creal32_T z : x) {
    peak = std::max(peak, std::norm(support::Complex(z.re, z.im)));
  }
  return peak;
}

double distance(creal32_T a, support::Complex b) {
  return std::abs(support::Complex(a.re, a.im) - b);
}

/// An element is a mean over K complex products: their sums round once a term, products twice,
/// division and averaging once each. In units of the largest product.
double rounding(const array<creal32_T, 1>& x, int L) {
  const int K = x.numel - L + 1;
  return 2.0 * (K + 4) * 0x1p-24 * peakPower(x);
}

std::int64_t peakMemory_KiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

}  // namespace

// EXACT: shapes.
TEST(MeasurementSmoothing, SubvectorsAreThreeQuartersOfTheMeasurement) {
  struct Row {
    int N;
    int L;
    const char* why;
  };
  const Row rows[] = {
      {0, 0, "nothing"},       {1, 1, "0.75 rounds up"}, {2, 2, "1.5 rounds away from zero"},
      {3, 2, "2.25"},          {4, 3, "exactly 3"},      {5, 4, "3.75"},
      {6, 5, "4.5 rounds up"}, {10, 8, "7.5 rounds up"}, {30, 23, "22.5 rounds up"},
      {56, 42, "exactly 42"},  {199, 149, "149.25"},
  };
  for (const Row& row : rows) {
    array<creal32_T, 2> R = support::matrix<creal32_T>(1, 2, {{9.0F, 9.0F}, {9.0F, 9.0F}});
    measurementSmoothing(noise(row.N), R);
    EXPECT_EQ(R.size[0], row.L) << row.N << ": " << row.why;
    EXPECT_EQ(R.size[1], row.L) << row.N << ": " << row.why;
  }
}

// EXACT: small whole numbers, by hand.
TEST(MeasurementSmoothing, OneSampleGivesItsPower) {
  array<creal32_T, 2> R;
  measurementSmoothing(column<creal32_T>({{3.0F, -4.0F}}), R);
  EXPECT_TRUE(sameBits(R, support::matrix<creal32_T>(1, 1, {{25.0F, 0.0F}})));
}

// EXACT: x = (1 + 2i, 3 - i), x x^H = [5, 1 + 7i; 1 - 7i, 10].
TEST(MeasurementSmoothing, TwoSamplesGiveTheOuterProductAveragedWithItsReverse) {
  array<creal32_T, 2> R;
  measurementSmoothing(column<creal32_T>({{1.0F, 2.0F}, {3.0F, -1.0F}}), R);
  EXPECT_TRUE(sameBits(R, support::matrix<creal32_T>(
                              2, 2, {{7.5F, 0.0F}, {1.0F, -7.0F}, {1.0F, 7.0F}, {7.5F, 0.0F}})));
}

// EXACT: x = (1, i, 2), subvectors (1, i) and (i, 2), forward average [1, i/2; -i/2, 5/2].
TEST(MeasurementSmoothing, ThreeSamplesAverageTwoSubvectors) {
  array<creal32_T, 2> R;
  measurementSmoothing(column<creal32_T>({{1.0F, 0.0F}, {0.0F, 1.0F}, {2.0F, 0.0F}}), R);
  EXPECT_TRUE(sameBits(R, support::matrix<creal32_T>(
                              2, 2, {{1.75F, 0.0F}, {0.0F, -0.5F}, {0.0F, 0.5F}, {1.75F, 0.0F}})));
}

// BOUND: see rounding().
TEST(MeasurementSmoothing, AgreesWithTheDefinitionInDouble) {
  for (const int N : {1, 2, 3, 4, 7, 10, 30, 64, 91}) {
    const array<creal32_T, 1> x = noise(N);
    array<creal32_T, 2> R;
    measurementSmoothing(x, R);
    const support::ReferenceMatrix expected =
        support::referenceSmoothing(support::toDouble({x.begin(), x.end()}));
    ASSERT_EQ(R.size[0], expected.n);
    for (int j = 0; j < expected.n; ++j) {
      for (int i = 0; i < expected.n; ++i) {
        EXPECT_LE(distance(R(i, j), expected(i, j)), rounding(x, expected.n))
            << N << " samples, element " << i << ", " << j;
      }
    }
  }
}

// BOUND for the Hermitian symmetry, which the matrix product decides; EXACT for the persymmetry:
// both mirror images come from the same two numbers (the sign of a zero apart).
TEST(MeasurementSmoothing, IsHermitianAndPersymmetric) {
  for (const int N : {2, 3, 10, 30, 65}) {
    const array<creal32_T, 1> x = noise(N);
    array<creal32_T, 2> R;
    measurementSmoothing(x, R);
    const int L = R.size[0];
    for (int j = 0; j < L; ++j) {
      for (int i = 0; i < L; ++i) {
        const creal32_T turned = R(L - 1 - i, L - 1 - j);
        EXPECT_EQ(R(i, j).re, turned.re) << N;
        EXPECT_EQ(R(i, j).im, -turned.im) << N;
        EXPECT_LE(distance(R(i, j), {R(j, i).re, -R(j, i).im}), rounding(x, L)) << N;
      }
    }
  }
}

TEST(MeasurementSmoothing, OneMatrixProduct_NoneForAnEmptyMeasurement) {
  for (const int N : {0, 1, 2, 10}) {
    const int before = support::callCounts().matrixProducts;
    array<creal32_T, 2> R;
    measurementSmoothing(noise(N), R);
    EXPECT_EQ(support::callCounts().matrixProducts - before, N == 0 ? 0 : 1) << N;
  }
}

TEST(MeasurementSmoothing, NaNSampleSpoilsTheElementsItMeets) {
  array<creal32_T, 1> x = noise(8);
  x[0].re = rtNaNF;
  array<creal32_T, 2> R;
  measurementSmoothing(x, R);
  EXPECT_TRUE(std::isnan(R(0, 0).re));
}

// 46341^2 is the first square beyond 2147483647; 65535 subcarriers would need 19 GB for the
// covariance and 6 GB for the data matrix.
TEST(MeasurementSmoothing, MeasurementBeyondAnArrayIsRefusedBeforeAnyLargeMatrix) {
  for (const int N : {61788, 65535}) {
    array<creal32_T, 1> x;
    x.set_size(N);
    array<creal32_T, 2> R;
    const std::int64_t before = peakMemory_KiB();
    EXPECT_THROW(measurementSmoothing(x, R), std::length_error) << N;
    EXPECT_LT(peakMemory_KiB() - before, 64 * 1024) << N;
  }
}
