#include "flightpath/music/likelihood.h"

#include <gtest/gtest.h>
#include <math.h>

#include <cmath>
#include <vector>

#include "flightpath/runtime/nonfinite.h"
#include "flightpath/runtime/scalar.h"
#include "tests/support/builders.h"
#include "tests/support/same_bits.h"

using coder::array;
using coder::phased::internal::Ld;
using support::column;
using support::sameBits;

namespace {

/// Eigenvalues that fall from large to small over `decades`.
array<float, 1> falling(int count, float decades) {
  array<float, 1> lambda;
  lambda.set_size(count);
  for (int k = 0; k < count; ++k) {
    lambda[k] = std::pow(10.0F, -decades * static_cast<float>(k) / static_cast<float>(count));
  }
  return lambda;
}

double inDouble(const array<float, 1>& lambda, int k) {
  double sum = 0.0;
  double logs = 0.0;
  for (int i = k; i < lambda.numel; ++i) {
    sum += lambda[i];
    logs += std::log(lambda[i]);
  }
  const double n = lambda.numel - k;
  return n * std::log(sum / n) - logs;
}

/// n roots and n products, each within some units of rounding, make the logarithm of the geometric
/// mean that much wrong, the exponent's rounding adds u |log lambda| a root; n times that.
double rounding(int n, double decades) { return n * (6.0 * n + 2.4 * decades * 2.0) * 0x1p-24; }

}  // namespace

// BOUND: see rounding(), for a spread of less than two decades.
TEST(Ld, IsTheLogarithmOfArithmeticOverGeometricMean) {
  struct Row {
    std::vector<float> lambda;
    double k;
    double expected;
    const char* why;
  };
  const Row rows[] = {
      {{4.0F, 1.0F}, 0, 2.0 * std::log(2.5 / 2.0), "mean 2.5 over mean 2"},
      {{4.0F, 1.0F}, 1, 0.0, "one value: both means are it"},
      {{8.0F, 4.0F, 2.0F, 1.0F}, 0, 4.0 * std::log(3.75 / std::pow(2.0, 1.5)), "all four"},
      {{8.0F, 4.0F, 2.0F, 1.0F}, 1, 3.0 * std::log((7.0 / 3.0) / 2.0), "the weakest three"},
      {{8.0F, 4.0F, 2.0F, 1.0F}, 2, 2.0 * std::log(1.5 / std::sqrt(2.0)), "the weakest two"},
      {{8.0F, 4.0F, 2.0F, 1.0F}, 3, 0.0, "the weakest"},
      {{5.0F, 5.0F, 5.0F}, 0, 0.0, "all equal"},
  };
  for (const Row& row : rows) {
    const array<float, 1> lambda = column(row.lambda);
    EXPECT_NEAR(Ld(row.k, lambda, lambda.numel), row.expected, rounding(lambda.numel, 2.0))
        << row.why;
  }
}

// BOUND: see rounding().
TEST(Ld, AgreesWithLogarithmsInDouble) {
  for (const int n : {3, 30, 200}) {
    for (const float decades : {1.0F, 7.0F}) {
      const array<float, 1> lambda = falling(n, decades);
      for (const int k : {0, 1, n / 2, n - 1}) {
        EXPECT_NEAR(Ld(k, lambda, n), inDouble(lambda, k), rounding(n - k, decades))
            << n << " values over " << decades << " decades, k = " << k;
      }
    }
  }
}

// EXACT: the order of operations is part of the result. 1500 values take two blocks of the sum.
TEST(Ld, ProductOfRootsLeftToRight_SumInBlocks) {
  const array<float, 1> lambda = falling(1500, 2.0F);
  const int k = 3;
  const int n = lambda.numel - k;
  const auto root = static_cast<float>(1.0 / n);
  float product = rt_powf_snf(lambda[k], root);
  float firstBlock = lambda[k];
  for (int i = 1; i < 1024; ++i) {
    firstBlock += lambda[k + i];
  }
  float secondBlock = lambda[k + 1024];
  for (int i = 1025; i < n; ++i) {
    secondBlock += lambda[k + i];
  }
  for (int i = 1; i < n; ++i) {
    product *= rt_powf_snf(lambda[k + i], root);
  }
  const auto count = static_cast<float>(n);
  const float expected = ::logf(((firstBlock + secondBlock) / count) / product) * count;
  EXPECT_TRUE(sameBits(Ld(k, lambda, 1500), expected));
}

// BOUND: the plain product of forty values of 1e30 (or 1e-30) is infinite (or zero).
TEST(Ld, RootsKeepTheProductInRange) {
  for (const float value : {1e30F, 1e-30F}) {
    array<float, 1> lambda = falling(40, 0.0F);
    std::fill(lambda.begin(), lambda.end(), value);
    EXPECT_NEAR(Ld(0, lambda, 40), 0.0, rounding(40, 30.0)) << value;
  }
}

// EXACT: k is limited from below, M to the length of the list.
TEST(Ld, LimitsItsCounts) {
  const array<float, 1> lambda = column({8.0F, 4.0F, 2.0F, 1.0F});
  const float whole = Ld(0, lambda, 4);
  for (const double k : {-1.0, -0.5, -1e300, rtMinusInf}) {
    EXPECT_TRUE(sameBits(Ld(k, lambda, 4), whole)) << "k = " << k;
  }
  for (const double M : {5.0, 1e9, 1e300, rtInf}) {
    EXPECT_TRUE(sameBits(Ld(0, lambda, M), whole)) << "M = " << M;
  }
  EXPECT_TRUE(sameBits(Ld(1, lambda, 100), Ld(1, lambda, 4)));
  EXPECT_TRUE(sameBits(Ld(-3, lambda, 100), whole));
}

TEST(Ld, TakesTheFirstMValuesOnly) {
  const array<float, 1> lambda = column({8.0F, 4.0F, 2.0F, 1.0F});
  EXPECT_TRUE(sameBits(Ld(0, lambda, 2), Ld(0, column({8.0F, 4.0F}), 2)));
}

// EXACT: for k + 1 > M the formula stands with a sum of 0 and a product of 1.
TEST(Ld, WithoutAnEigenvalueLeft_TheFormulaStands) {
  const array<float, 1> lambda = column({8.0F, 4.0F});
  EXPECT_TRUE(std::isnan(Ld(2, lambda, 2))) << "log(0 / 0) * 0";
  EXPECT_TRUE(std::isnan(Ld(0, {}, 0))) << "the same of an empty list";
  EXPECT_TRUE(sameBits(Ld(3, lambda, 2), rtInfF)) << "log(-0) * -1";
  EXPECT_TRUE(sameBits(Ld(1.5, lambda, 2), rtMinusInfF)) << "log(0) * 0.5";
  EXPECT_TRUE(sameBits(Ld(1e300, lambda, 2), rtInfF)) << "log(-0) * -inf";
}

TEST(Ld, PassesBadEigenvaluesOn) {
  EXPECT_TRUE(std::isnan(Ld(0, column({2.0F, rtNaNF}), 2)));
  EXPECT_TRUE(std::isnan(Ld(0, column({2.0F, -1.0F}), 2))) << "root of a negative value";
  EXPECT_TRUE(sameBits(Ld(0, column({2.0F, 0.0F}), 2), rtInfF)) << "geometric mean 0";
  EXPECT_FALSE(std::isnan(Ld(1, column({rtNaNF, 2.0F}), 2))) << "not among those counted";
}
