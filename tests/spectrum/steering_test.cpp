#include "flightpath/spectrum/steering.h"

#include <gtest/gtest.h>
#include <math.h>

#include <cmath>
#include <stdexcept>
#include <vector>

#include "flightpath/runtime/nonfinite.h"
#include "tests/support/builders.h"
#include "tests/support/dft_model.h"
#include "tests/support/same_bits.h"

using support::column;
using support::matrix;
using support::row;
using support::sameBits;

namespace {

using Vectors = coder::array<creal32_T, 2>;

Vectors steering(double numElements, const std::vector<float>& freqs) {
  Vectors A;
  makeUniformSteeringVectors(numElements, row(freqs), A);
  return A;
}

creal32_T cosAndSin(float phase) {
  creal32_T z;
  ::sincosf(phase, &z.im, &z.re);
  return z;
}

/// exp(i 2 pi index f) as single precision has it: the product with 2 pi in double. The complex
/// product ends in a sum with zero, which a negative zero does not survive.
creal32_T element(double index, float f) {
  return cosAndSin(static_cast<float>(6.283185307179586 * index) * f + 0.0F);
}

creal32_T expOf(creal32_T z) {
  Vectors x = matrix(1, 1, std::vector<creal32_T>{z});
  coder::b_exp(x);
  return x[0];
}

const std::vector<float> someFreqs = {0.0F, 0.25F, -0.25F, 0.123456F, -0.499F, 0.5F, 3.7F, -12.25F};

}  // namespace

TEST(SteeringVectors, ElementCountIsTruncatedAndLimitedToZero) {
  struct Row {
    double numElements;
    int rows;
    const char* why;
  };
  const Row table[] = {
      {0.0, 0, "none"},      {-0.0, 0, "negative zero"},   {1.0, 1, "one"},
      {5.0, 5, "five"},      {0.5, 0, "below one"},        {3.5, 3, "non-integral"},
      {-1.0, 0, "negative"}, {-1e300, 0, "very negative"}, {rtMinusInf, 0, "-inf"},
      {rtNaN, 0, "NaN"},
  };
  for (const Row& r : table) {
    for (const int numFreqs : {0, 1, 3}) {
      const Vectors A =
          steering(r.numElements, std::vector<float>(static_cast<std::size_t>(numFreqs), 0.1F));
      EXPECT_EQ(A.size[0], r.rows) << r.why;
      EXPECT_EQ(A.size[1], numFreqs) << r.why;
      EXPECT_EQ(A.numel, r.rows * numFreqs) << r.why;
    }
  }
}

TEST(SteeringVectors, MoreElementsThanAnArrayHoldsAreALengthError) {
  EXPECT_THROW(steering(rtInf, {0.1F}), std::length_error);
  EXPECT_THROW(steering(2147483648.0, {0.1F}), std::length_error);
  EXPECT_THROW(steering(65536.0, std::vector<float>(32768)), std::length_error) << "the product";
}

// EXACT: one rounding to float after the double product with 2 pi, one after that with f.
TEST(SteeringVectors, ExponentIsRoundedBeforeTheProductWithTheFrequency) {
  constexpr int M = 300;
  const Vectors A = steering(M, someFreqs);
  int toldApart = 0;
  for (int j = 0; j < A.size[1]; ++j) {
    const float f = someFreqs[static_cast<std::size_t>(j)];
    for (int k = 0; k < M; ++k) {
      EXPECT_TRUE(sameBits(A(k, j), element(k, f))) << "element " << k << " at " << f;
      const auto roundedOnce = static_cast<float>(6.283185307179586 * k * static_cast<double>(f));
      toldApart += sameBits(A(k, j), cosAndSin(roundedOnce)) ? 0 : 1;
    }
  }
  EXPECT_GT(toldApart, 0) << "the values must tell one rounding from two";
}

// BOUND: the phase is rounded twice, eps of it in all; sine and cosine to 1 ulp, eps.
TEST(SteeringVectors, AgreeWithTheExponentialInDouble) {
  constexpr int M = 300;
  const Vectors A = steering(M, someFreqs);
  for (int j = 0; j < A.size[1]; ++j) {
    const double f = someFreqs[static_cast<std::size_t>(j)];
    for (int k = 0; k < M; ++k) {
      const double phase = 2.0 * std::numbers::pi * k * std::abs(f);
      EXPECT_LE(std::abs(support::toDouble(A(k, j)) - support::turn(k * f)),
                support::floatEps * (phase + 1.0) + 1e-12 * phase)
          << "element " << k << " at " << f;
    }
  }
}

// EXACT: exp(0) by the branch for a real part of zero.
TEST(SteeringVectors, FirstElementIsOneForEveryFiniteFrequency) {
  const std::vector<float> freqs = {0.0F, -0.0F, 0.3F, -0.3F, 1.0e30F, -3.0e38F, 1.0e-45F};
  const Vectors A = steering(3.0, freqs);
  for (int j = 0; j < A.size[1]; ++j) {
    EXPECT_TRUE(sameBits(A(0, j), {1.0F, 0.0F})) << freqs[static_cast<std::size_t>(j)];
  }
}

// BOUND: phase 2 pi k / 4 rounded as above; k <= 5.
TEST(SteeringVectors, QuarterTurnsGoCounterClockwise) {
  const creal32_T expected[] = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}, {1, 0}, {0, 1}};
  const Vectors A = steering(6.0, {0.25F});
  for (int k = 0; k < 6; ++k) {
    EXPECT_LE(std::abs(support::toDouble(A[k]) - support::toDouble(expected[k])),
              support::floatEps * (std::numbers::pi / 2.0 * k + 1.0))
        << k;
  }
}

// BOUND: each of the two columns within eps (pi k + 1) of (-1)^k.
TEST(SteeringVectors, BothEndsOfThePeriodGiveTheSameColumn) {
  const Vectors A = steering(40.0, {0.5F, -0.5F});
  for (int k = 0; k < 40; ++k) {
    EXPECT_LE(std::abs(support::toDouble(A(k, 0)) - support::toDouble(A(k, 1))),
              2.0 * support::floatEps * (std::numbers::pi * k + 1.0))
        << k;
  }
}

// EXACT: the grid puts the last element at numElements - 1 and the others evenly before it.
TEST(SteeringVectors, NonIntegralCountStretchesTheElements) {
  const Vectors A = steering(3.5, {0.1F});
  const double indices[] = {0.0, 1.25, 2.5};
  for (int k = 0; k < 3; ++k) {
    EXPECT_TRUE(sameBits(A[k], element(indices[k], 0.1F))) << k;
  }
  EXPECT_TRUE(sameBits(steering(1.5, {0.1F})[0], element(0.5, 0.1F))) << "a lone one is the last";
}

TEST(SteeringVectors, NonFiniteFrequencyMakesItsColumnNaN_NoOther) {
  const Vectors A = steering(4.0, {0.1F, rtNaNF, rtInfF, rtMinusInfF, 0.2F});
  for (int k = 0; k < 4; ++k) {
    EXPECT_TRUE(sameBits(A(k, 0), element(k, 0.1F)));
    for (int j = 1; j <= 3; ++j) {
      EXPECT_TRUE(sameBits(A(k, j), {rtNaNF, rtNaNF})) << "element " << k << ", column " << j;
    }
    EXPECT_TRUE(sameBits(A(k, 4), element(k, 0.2F)));
  }
}

TEST(SteeringVectors, ColumnOverloadGivesTheSameBits) {
  for (const double numElements : {0.0, 1.0, 17.0, 3.5}) {
    Vectors A;
    makeUniformSteeringVectors(numElements, column(someFreqs), A);
    EXPECT_TRUE(sameBits(A, steering(numElements, someFreqs)));
  }
  Vectors none;
  makeUniformSteeringVectors(5.0, coder::array<float, 1>(), none);
  EXPECT_TRUE(sameBits(none, steering(5.0, {})));
}

TEST(SteeringVectors, OfARowArgumentTheSecondExtentCounts) {
  struct Row {
    coder::array<float, 2> freqs;
    std::vector<float> used;
    const char* why;
  };
  const Row table[] = {
      {matrix(2, 3, std::vector<float>{0.1F, 0.2F, 0.3F, 0.4F, 0.5F, 0.6F}),
       {0.1F, 0.2F, 0.3F},
       "more rows: as many elements as columns"},
      {matrix(3, 1, std::vector<float>{0.1F, 0.2F, 0.3F}), {0.1F}, "a column in a matrix"},
      {matrix(3, 0, std::vector<float>()), {}, "no columns"},
      {matrix(0, 3, std::vector<float>()), {}, "columns without an element"},
  };
  for (const Row& r : table) {
    Vectors A;
    makeUniformSteeringVectors(4.0, r.freqs, A);
    EXPECT_TRUE(sameBits(A, steering(4.0, r.used))) << r.why;
  }
}

TEST(SteeringVectors, OutputMayHoldAnythingBefore) {
  Vectors A = matrix(5, 9, support::randomTaps(45, 1));
  makeUniformSteeringVectors(4.0, row({0.1F, 0.2F}), A);
  EXPECT_TRUE(sameBits(A, steering(4.0, {0.1F, 0.2F})));
}

// EXACT: the formula of each branch.
TEST(ComplexExponential, FirstMatchingBranchWins) {
  const creal32_T unit = cosAndSin(1.0F);
  const float half = ::expf(0.5F * 1.5F);
  struct Row {
    creal32_T z;
    creal32_T expected;
    const char* why;
  };
  const Row rows[] = {
      {{0.0F, 0.0F}, {1.0F, 0.0F}, "exp 0"},
      {{0.0F, -0.0F}, {1.0F, -0.0F}, "the sine keeps the sign of a zero"},
      {{0.0F, 1.0F}, unit, "real part zero"},
      {{-0.0F, 1.0F}, unit, "real part zero of negative sign"},
      {{0.0F, rtInfF}, {rtNaNF, rtNaNF}, "no angle"},
      {{0.0F, rtNaNF}, {rtNaNF, rtNaNF}, "no angle"},
      {{1.5F, 0.0F}, {::expf(1.5F), 0.0F}, "imaginary part zero"},
      {{1.5F, -0.0F}, {::expf(1.5F), 0.0F}, "the zero becomes positive"},
      {{rtInfF, 0.0F}, {rtInfF, 0.0F}, "no inf times 0"},
      {{rtMinusInfF, 0.0F}, {0.0F, 0.0F}, "vanishes"},
      {{rtNaNF, 0.0F}, {rtNaNF, 0.0F}, "NaN in the real part only"},
      {{rtMinusInfF, rtInfF}, {0.0F, 0.0F}, "vanishes whatever the angle"},
      {{rtMinusInfF, rtMinusInfF}, {0.0F, 0.0F}, "vanishes whatever the angle"},
      {{rtMinusInfF, 1.0F}, {0.0F, 0.0F}, "e = 0"},
      {{rtMinusInfF, rtNaNF}, {rtNaNF, rtNaNF}, "NaN is no infinite angle"},
      {{rtInfF, rtInfF}, {rtNaNF, rtNaNF}, "no angle"},
      {{1.5F, rtInfF}, {rtNaNF, rtNaNF}, "no angle"},
      {{1.5F, 1.0F}, {(unit.re * half) * half, (unit.im * half) * half}, "half, applied twice"},
      {{rtNaNF, 1.0F}, {rtNaNF, rtNaNF}, "NaN"},
  };
  for (const Row& r : rows) {
    EXPECT_TRUE(sameBits(expOf(r.z), r.expected)) << r.why;
  }
}

// BOUND: cos(float(pi / 2)) = -4.371139e-8 by hand, times exp(89) = 4.489613e38.
TEST(ComplexExponential, StaysFiniteWhereTheExponentialOfTheRealPartOverflows) {
  ASSERT_TRUE(std::isinf(::expf(89.0F)));
  const creal32_T z = expOf({89.0F, 1.57079637F});
  EXPECT_NEAR(z.re / -1.962472e31F, 1.0F, 1e-5F);
  EXPECT_EQ(z.im, rtInfF);
}

TEST(ComplexExponential, WorksInPlaceAndKeepsTheShape) {
  Vectors x = matrix(2, 3, support::randomTaps(6, 2));
  const Vectors before = x;
  const creal32_T* const buffer = x.data;
  coder::b_exp(x);
  EXPECT_EQ(x.data, buffer);
  EXPECT_EQ(x.size[0], 2);
  EXPECT_EQ(x.size[1], 3);
  for (int i = 0; i < 6; ++i) {
    EXPECT_TRUE(sameBits(x[i], expOf(before[i]))) << i;
  }
}

TEST(ComplexExponential, LeavesAnEmptyArrayAsItIs) {
  Vectors neverSized;
  coder::b_exp(neverSized);
  EXPECT_EQ(neverSized.data, nullptr);
  EXPECT_EQ(neverSized.numel, 0);
  Vectors noColumns = matrix(3, 0, std::vector<creal32_T>());
  coder::b_exp(noColumns);
  EXPECT_EQ(noColumns.size[0], 3);
  EXPECT_EQ(noColumns.size[1], 0);
}
