#include "flightpath/ranging/detail/krylov_eigenpairs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <random>
#include <span>
#include <vector>

#include "tests/support/spectra.h"

using flightpath::KrylovEigenpairs;
using support::withSpectrum;

namespace {

/// A matrix that counts its products.
class Counted final : public flightpath::SymmetricOperator {
 public:
  explicit Counted(const std::vector<double>& values, unsigned seed = 1)
      : order_(static_cast<int>(values.size())), A_(withSpectrum(values, seed)) {}

  int order() const override { return order_; }
  int products() const { return products_; }

  void multiply(std::span<const double> v, std::span<double> product) override {
    ++products_;
    const std::size_t n = v.size();
    for (std::size_t i = 0; i < n; ++i) {
      product[i] = 0.0;
      for (std::size_t j = 0; j < n; ++j) {
        product[i] += A_[j * n + i] * v[j];
      }
    }
  }

 private:
  int order_;
  std::vector<double> A_;
  int products_ = 0;
};

/// Signals over noise whose eigenvalues spread, descending.
std::vector<double> spectrum(std::vector<double> signals, std::size_t order = 120) {
  std::mt19937_64 random(7);
  std::uniform_real_distribution<double> noise(0.2, 1.8);
  while (signals.size() < order) {
    signals.push_back(noise(random));
  }
  std::ranges::sort(signals, std::greater<>());
  return signals;
}

std::vector<double> vectorOf(const KrylovEigenpairs& pairs, int k, int order) {
  std::vector<double> y(static_cast<std::size_t>(order));
  pairs.vector(k, y);
  return y;
}

double dot(const std::vector<double>& a, const std::vector<double>& b) {
  double sum = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    sum += a[i] * b[i];
  }
  return sum;
}

double trueResidual(Counted& C, const std::vector<double>& y, double value) {
  std::vector<double> Cy(y.size());
  C.multiply(y, Cy);
  for (std::size_t i = 0; i < y.size(); ++i) {
    Cy[i] -= value * y[i];
  }
  return std::sqrt(dot(Cy, Cy));
}

KrylovEigenpairs after(Counted& C, int steps, int most = 60) {
  KrylovEigenpairs pairs(C.order(), most);
  pairs.start(C);
  for (int i = 0; i < steps; ++i) {
    EXPECT_TRUE(pairs.step());
  }
  return pairs;
}

}  // namespace

// BOUND: after five steps the error left in signals that stand a thousand times above the noise is
// rounding: a few hundred eps of the largest.
TEST(KrylovEigenpairs, SignalsSettleWithinAFewSteps) {
  const std::vector<double> values = spectrum({9e4, 4e4, 3.9e4, 2e3});
  Counted C(values);
  const KrylovEigenpairs pairs = after(C, 5);
  EXPECT_EQ(C.products(), 20);
  for (int k = 0; k < 4; ++k) {
    EXPECT_NEAR(pairs.value(k), values[static_cast<std::size_t>(k)], 1e-12 * values[0]) << k;
    EXPECT_LE(pairs.residual(k), 1e-6 * values[static_cast<std::size_t>(k)]) << k;
  }
}

// BOUND: the residual is that of its vector, to the rounding of the largest value, at every step
// and for every pair; the vectors are orthonormal.
TEST(KrylovEigenpairs, ResidualsAreTrueAndVectorsOrthonormal) {
  Counted C(spectrum({5e3, 300.0, 40.0}));
  KrylovEigenpairs pairs(C.order(), 40);
  pairs.start(C);
  for (int step = 0; step < 6; ++step) {
    if (step == 3) {
      pairs.addBlock();
    }
    ASSERT_TRUE(pairs.step());
    for (int k = 0; k < pairs.size(); ++k) {
      const std::vector<double> y = vectorOf(pairs, k, C.order());
      EXPECT_NEAR(pairs.residual(k), trueResidual(C, y, pairs.value(k)), 1e-9) << step << " " << k;
      for (int j = 0; j <= k; ++j) {
        EXPECT_NEAR(dot(y, vectorOf(pairs, j, C.order())), j == k ? 1.0 : 0.0, 1e-12);
      }
    }
  }
}

// EXACT: an eigenvalue that stands more often than a block has columns is found as often as it
// stands, since the span is exhausted and goes on with other columns.
TEST(KrylovEigenpairs, FindsEveryCopyOfAnEigenvalue) {
  std::vector<double> values(100, 0.0);
  std::fill_n(values.begin(), 7, 50.0);
  Counted C(values);
  const KrylovEigenpairs pairs = after(C, 4);
  for (int k = 0; k < pairs.size(); ++k) {
    EXPECT_NEAR(pairs.value(k), k < 7 ? 50.0 : 0.0, 1e-11) << k;
    EXPECT_LE(pairs.residual(k), 1e-11) << k;
  }
}

namespace {

/// 3 I, whose products leave nothing new, rounding apart, and that along the columns that they are
/// made of.
class Thrice final : public flightpath::SymmetricOperator {
 public:
  int order() const override { return 100; }

  void multiply(std::span<const double> v, std::span<double> product) override {
    std::ranges::transform(v, product.begin(), [](double x) { return 3.0 * x; });
  }
};

}  // namespace

// BOUND: what rounding leaves of a product is no new direction: vectors are orthonormal to a few
// eps.
TEST(KrylovEigenpairs, ProductsThatAddNothingLeaveVectorsOrthonormal) {
  Thrice C;
  KrylovEigenpairs pairs(C.order(), 20);
  pairs.start(C);
  while (pairs.step()) {
  }
  ASSERT_EQ(pairs.size(), 20);
  for (int k = 0; k < pairs.size(); ++k) {
    EXPECT_NEAR(pairs.value(k), 3.0, 1e-14) << k;
    for (int j = 0; j <= k; ++j) {
      const double product = dot(vectorOf(pairs, k, C.order()), vectorOf(pairs, j, C.order()));
      EXPECT_NEAR(product, j == k ? 1.0 : 0.0, 1e-14) << j << " " << k;
    }
  }
}

// EXACT: steps whose Ritz pairs nobody asks for leave the same columns.
TEST(KrylovEigenpairs, ExtendingChangesNoPair) {
  Counted C(spectrum({5e3, 300.0, 40.0}));
  const KrylovEigenpairs stepped = after(C, 4);
  KrylovEigenpairs extended(C.order(), 60);
  extended.start(C);
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(extended.extend());
  }
  ASSERT_TRUE(extended.step());
  ASSERT_EQ(extended.size(), stepped.size());
  for (int k = 0; k < stepped.size(); ++k) {
    EXPECT_EQ(extended.value(k), stepped.value(k)) << k;
    EXPECT_EQ(extended.residual(k), stepped.residual(k)) << k;
  }
}

// EXACT: a block's steps are counted from the one that takes it in.
TEST(KrylovEigenpairs, CountsTheStepsOfTheLastBlock) {
  Counted C(spectrum({5e3}));
  KrylovEigenpairs pairs = after(C, 2);
  EXPECT_EQ(pairs.stepsOfBlock(), 2);
  pairs.addBlock();
  EXPECT_EQ(pairs.stepsOfBlock(), 0);
  ASSERT_TRUE(pairs.step());
  EXPECT_EQ(pairs.stepsOfBlock(), 1);
  pairs.start(C);
  EXPECT_EQ(pairs.stepsOfBlock(), 0);
}

// BOUND: a block without structure finds the copies that the first one left out.
TEST(KrylovEigenpairs, AnotherBlockFindsWhatTheFirstOneMissed) {
  std::vector<double> signals(6, 5e4);
  Counted C(spectrum(signals));
  KrylovEigenpairs pairs = after(C, 2);
  EXPECT_LT(pairs.value(4), 1e3) << "the case is none: four columns met more than four copies";
  pairs.addBlock();
  ASSERT_TRUE(pairs.step());
  ASSERT_TRUE(pairs.step());
  EXPECT_NEAR(pairs.value(5), 5e4, 1.0);
}

// EXACT: no step that would take more products, and nothing is changed by asking for it.
TEST(KrylovEigenpairs, StopsAtTheMostProducts) {
  Counted C(spectrum({100.0}));
  KrylovEigenpairs pairs(C.order(), 11);
  pairs.start(C);
  EXPECT_TRUE(pairs.step());
  EXPECT_TRUE(pairs.step());
  const double value = pairs.value(0);
  pairs.addBlock();
  pairs.addBlock();
  pairs.addBlock();  // no room for this one: it is left out
  EXPECT_FALSE(pairs.step());
  EXPECT_EQ(C.products(), 8);
  EXPECT_EQ(pairs.size(), 8);
  EXPECT_EQ(pairs.value(0), value);
}

// EXACT: the second operator's pairs are those of one that came first.
TEST(KrylovEigenpairs, StartsOverWithoutATrace) {
  Counted first(spectrum({1e20, 1e19}), 1);
  Counted second(spectrum({80.0, 30.0}), 2);
  KrylovEigenpairs used = after(first, 5);
  used.addBlock();
  used.start(second);
  KrylovEigenpairs fresh(second.order(), 60);
  fresh.start(second);
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(used.step());
    ASSERT_TRUE(fresh.step());
  }
  ASSERT_EQ(used.size(), fresh.size());
  for (int k = 0; k < used.size(); ++k) {
    EXPECT_EQ(used.value(k), fresh.value(k)) << k;
    EXPECT_EQ(used.residual(k), fresh.residual(k)) << k;
  }
}

// MODEL: the columns are as good as random: over 20 matrices the estimates of the sum and of the
// sum of squares of the noise lie within a third, and within a tenth in the mean.
TEST(KrylovEigenpairs, TraceEstimatesAreThoseOfTheNoise) {
  const std::vector<double> values = spectrum({1e5, 2e4, 1e4}, 200);
  double sums[3] = {};
  for (std::size_t k = 3; k < values.size(); ++k) {
    sums[1] += values[k];
    sums[2] += values[k] * values[k];
  }
  double means[3] = {};
  for (unsigned seed = 0; seed < 20; ++seed) {
    Counted C(values, seed);
    const KrylovEigenpairs pairs = after(C, 3);
    for (const int power : {1, 2}) {
      const double estimate = pairs.traceEstimate(power, 3);
      EXPECT_NEAR(estimate, sums[power], 0.33 * sums[power]) << seed << ", " << power;
      means[power] += estimate / 20.0;
    }
  }
  EXPECT_NEAR(means[1], sums[1], 0.1 * sums[1]);
  EXPECT_NEAR(means[2], sums[2], 0.1 * sums[2]);
}
