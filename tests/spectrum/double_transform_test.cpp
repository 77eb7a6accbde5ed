#include "flightpath/spectrum/detail/double_transform.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstddef>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

using flightpath::DoubleTransform;
using flightpath::fastTransformLength;
using Complex = std::complex<double>;

namespace {

constexpr double eps = std::numeric_limits<double>::epsilon();

std::vector<Complex> randomValues(int n) {
  std::mt19937_64 random(static_cast<unsigned>(n));
  std::normal_distribution<double> normal;
  std::vector<Complex> values;
  for (int k = 0; k < n; ++k) {
    const double re = normal(random);
    values.emplace_back(re, normal(random));
  }
  return values;
}

/// The sum over k of values(k) exp(sign i 2 pi j k / n).
std::vector<Complex> byDefinition(const std::vector<Complex>& values, int sign) {
  const std::size_t n = values.size();
  std::vector<Complex> out;
  for (std::size_t j = 0; j < n; ++j) {
    Complex sum;
    for (std::size_t k = 0; k < n; ++k) {
      const double turns = static_cast<double>(j * k % n) / static_cast<double>(n);
      sum += values[k] * std::polar(1.0, sign * 2.0 * std::numbers::pi * turns);
    }
    out.push_back(sum);
  }
  return out;
}

void expectNear(const std::vector<Complex>& actual, const std::vector<Complex>& expected) {
  ASSERT_EQ(actual.size(), expected.size());
  const auto n = static_cast<double>(actual.size());
  for (std::size_t j = 0; j < actual.size(); ++j) {
    EXPECT_LE(std::abs(actual[j] - expected[j]), 20 * n * eps) << n << ", " << j;
  }
}

bool isFast(int n) {
  for (const int prime : {2, 3, 5, 7}) {
    while (n % prime == 0) {
      n /= prime;
    }
  }
  return n == 1;
}

}  // namespace

// BOUND: sums of n terms of about 1, each of which the definition rounds a few times.
TEST(DoubleTransform, BothWaysAreThoseOfTheDefinition) {
  for (const int n : {1, 2, 3, 8, 30, 63}) {
    DoubleTransform transform(n);
    const std::vector<Complex> values = randomValues(n);
    transform.values() = values;
    transform.toSpectrum();
    expectNear(transform.spectrum(), byDefinition(values, -1));
    transform.spectrum() = values;
    transform.toValues();
    expectNear(transform.values(), byDefinition(values, +1));
  }
}

// EXACT: whoever transforms twice transforms the same.
TEST(DoubleTransform, WhatItReadsStaysAsItIs) {
  for (const int n : {2, 30, 64, 1024}) {
    DoubleTransform transform(n);
    const std::vector<Complex> values = randomValues(n);
    transform.values() = values;
    transform.toSpectrum();
    EXPECT_EQ(transform.values(), values) << n;
    const std::vector<Complex> spectrum = transform.spectrum();
    transform.toValues();
    EXPECT_EQ(transform.spectrum(), spectrum) << n;
  }
}

// EXACT
TEST(DoubleTransform, TheFastLengthIsTheNextWithoutALargePrime) {
  for (int least = 1; least <= 5000; ++least) {
    const int n = fastTransformLength(least);
    ASSERT_GE(n, least);
    ASSERT_TRUE(isFast(n)) << least;
    for (int between = least; between < n; ++between) {
      ASSERT_FALSE(isFast(between)) << least << " could have taken " << between;
    }
  }
  EXPECT_EQ(fastTransformLength(10001), 10080);
  EXPECT_EQ(fastTransformLength(65535), 65536);
}
