#include "flightpath/likelihood/split_sums.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <random>
#include <vector>

using flightpath::Complex;
using flightpath::SplitVector;

namespace {

constexpr double eps = std::numeric_limits<double>::epsilon();

struct Vector {
  std::vector<double> re, im;
  SplitVector view() const { return {re.data(), im.data()}; }
  std::complex<long double> at(int k) const {
    return {re[static_cast<std::size_t>(k)], im[static_cast<std::size_t>(k)]};
  }
};

Vector randomVector(int n, unsigned seed) {
  std::mt19937_64 random(seed);
  std::normal_distribution<double> normal;
  Vector v;
  for (int k = 0; k < n; ++k) {
    v.re.push_back(normal(random));
    v.im.push_back(normal(random));
  }
  return v;
}

/// The sum of c^power conj(a) b and of its terms' moduli.
struct LongSum {
  std::complex<long double> value;
  long double scale = 0;
};

LongSum longSum(int n, const std::vector<double>& c, int power, const Vector& a, const Vector& b) {
  LongSum sum;
  for (int k = 0; k < n; ++k) {
    const auto term = std::conj(a.at(k)) * b.at(k) *
                      std::pow(static_cast<long double>(c[static_cast<std::size_t>(k)]), power);
    sum.value += term;
    sum.scale += std::abs(term);
  }
  return sum;
}

/// BOUND: n + 4 roundings of terms and partial sums, each at most the sum of the terms' moduli.
void expectNear(Complex found, const LongSum& expected, int n) {
  const double bound = (n + 4) * eps * static_cast<double>(expected.scale);
  EXPECT_NEAR(found.real(), static_cast<double>(expected.value.real()), bound);
  EXPECT_NEAR(found.imag(), static_cast<double>(expected.value.imag()), bound);
}

}  // namespace

TEST(SplitSums, EveryMomentIsTheSumInHigherPrecision) {
  for (const int n : {0, 1, 2, 3, 64, 65, 1001}) {
    SCOPED_TRACE(n);
    const Vector a = randomVector(n, 1);
    const Vector b = randomVector(n, 2);
    const Vector c = randomVector(n, 3);
    const auto moments = flightpath::conjugateMoments(n, c.re.data(), a.view(), b.view());
    expectNear(moments.zeroth, longSum(n, c.re, 0, a, b), n);
    expectNear(moments.first, longSum(n, c.re, 1, a, b), n);
    expectNear(moments.second, longSum(n, c.re, 2, a, b), n);
    expectNear(flightpath::conjugateDot(n, a.view(), b.view()), longSum(n, c.re, 0, a, b), n);
    expectNear(flightpath::conjugateDot(n, c.re.data(), a.view(), b.view()),
               longSum(n, c.re, 1, a, b), n);
    expectNear(flightpath::energy(n, a.view()), longSum(n, c.re, 0, a, a), n);
  }
}

// BOUND: 4 roundings per part, of values below 3 |x| |a| + |y|.
TEST(SplitSums, AMultipleIsTakenOffEveryElement) {
  constexpr int n = 7;
  const Vector a = randomVector(n, 4);
  Vector y = randomVector(n, 5);
  const Vector before = y;
  const Complex x(0.7, -1.3);
  flightpath::subtractMultiple(n, x, a.view(), y.re.data(), y.im.data());
  for (int k = 0; k < n; ++k) {
    const std::complex<long double> expected =
        before.at(k) - std::complex<long double>(x) * a.at(k);
    EXPECT_LE(std::abs(y.at(k) - expected), 4 * eps * 20.0) << k;
  }
}
