#include "flightpath/ranging/detail/leading_eigenpairs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
#include <random>
#include <span>
#include <vector>

#include "tests/support/spectra.h"

using flightpath::LeadingEigenpairs;
using support::withSpectrum;

namespace {

constexpr double eps = std::numeric_limits<double>::epsilon();

std::vector<double> diagonal(const std::vector<double>& values) {
  std::vector<double> A(values.size() * values.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    A[i * (values.size() + 1)] = values[i];
  }
  return A;
}

/// 1, ratio, ratio^2, ...
std::vector<double> falling(std::size_t order, double ratio) {
  std::vector<double> values;
  for (std::size_t k = 0; k < order; ++k) {
    values.push_back(std::pow(ratio, static_cast<double>(k)));
  }
  return values;
}

void steps(LeadingEigenpairs& pairs, int count) {
  for (int i = 0; i < count; ++i) {
    pairs.step();
  }
}

double trueResidual(const std::vector<double>& A, std::span<const double> v, double value) {
  const std::size_t n = v.size();
  double squares = 0.0;
  for (std::size_t i = 0; i < n; ++i) {
    double sum = 0.0;
    for (std::size_t j = 0; j < n; ++j) {
      sum += A[i * n + j] * v[j];
    }
    squares += std::pow(sum - value * v[i], 2);
  }
  return std::sqrt(squares);
}

void expectOrthonormal(const LeadingEigenpairs& pairs) {
  for (int a = 0; a < pairs.width(); ++a) {
    for (int b = 0; b <= a; ++b) {
      double sum = 0.0;
      for (std::size_t i = 0; i < pairs.vector(a).size(); ++i) {
        sum += pairs.vector(a)[i] * pairs.vector(b)[i];
      }
      // BOUND: sums of as many products as the order, in the basis and in its rotation.
      EXPECT_NEAR(sum, a == b ? 1.0 : 0.0, 20.0 * static_cast<double>(pairs.vector(a).size()) * eps)
          << a << ", " << b;
    }
  }
}

/// Values of the first `count` pairs, and that their vectors belong to them.
void expectPairs(const LeadingEigenpairs& pairs, const std::vector<double>& A,
                 const std::vector<double>& expected, int count) {
  // BOUND: a product with the matrix rounds once a term, and again in the projection.
  const double bound = 20.0 * static_cast<double>(expected.size()) * eps * expected[0];
  for (int k = 0; k < count; ++k) {
    EXPECT_NEAR(pairs.value(k), expected[static_cast<std::size_t>(k)], bound) << k;
    EXPECT_LE(trueResidual(A, pairs.vector(k), pairs.value(k)), bound) << k;
    EXPECT_NEAR(pairs.residual(k), trueResidual(A, pairs.vector(k), pairs.value(k)), bound) << k;
  }
}

}  // namespace

// BOUND: as in expectPairs. Slowly falling values: the first steps leave much to do.
TEST(LeadingEigenpairs, ResidualsTellHowFarThePairsAreFromConvergence) {
  const std::vector<double> A = withSpectrum(falling(30, 0.9), 1);
  LeadingEigenpairs pairs(30);
  pairs.start(A);
  for (int step = 1; step <= 5; ++step) {
    pairs.step();
    for (int k = 0; k < pairs.width(); ++k) {
      const double expected = trueResidual(A, pairs.vector(k), pairs.value(k));
      ASSERT_GT(expected, 1e-6) << "the case is none";
      EXPECT_NEAR(pairs.residual(k), expected, 20.0 * 30.0 * eps) << k << " after " << step;
    }
  }
}

// Ratio 0.4: after 60 steps nothing is missing from a pair but rounding (0.4^60 = 1e-24).
TEST(LeadingEigenpairs, FindsTheLargestOfEveryOrder) {
  for (std::size_t order = 2; order <= 60; order += order < 16 ? 1 : 11) {
    SCOPED_TRACE(order);
    const std::vector<double> values = falling(order, 0.4);
    for (const std::vector<double>& A :
         {diagonal(values), withSpectrum(values, static_cast<unsigned>(order))}) {
      LeadingEigenpairs pairs(static_cast<int>(order));
      pairs.start(A);
      ASSERT_GE(pairs.width(), 1);
      ASSERT_LE(pairs.width(), std::max(1, static_cast<int>(order) / 2));
      steps(pairs, 60);
      expectPairs(pairs, A, values, pairs.width());
      expectOrthonormal(pairs);
    }
  }
}

TEST(LeadingEigenpairs, RepeatedEigenvaluesKeepVectorsOfTheirOwn) {
  std::vector<double> values = {5.0, 5.0, 5.0, 1.0, 1.0};
  values.resize(30, 0.01);
  const std::vector<double> A = withSpectrum(values, 3);
  LeadingEigenpairs pairs(30);
  pairs.start(A);
  steps(pairs, 40);
  expectPairs(pairs, A, values, std::min(5, pairs.width()));
  expectOrthonormal(pairs);
}

TEST(LeadingEigenpairs, AMultipleOfTheUnitMatrixAndZeroHaveNoDirection) {
  for (const double value : {3.0, 0.0}) {
    const std::vector<double> values(12, value);
    const std::vector<double> A = diagonal(values);
    LeadingEigenpairs pairs(12);
    pairs.start(A);
    steps(pairs, 5);
    expectPairs(pairs, A, values, pairs.width());
  }
}

TEST(LeadingEigenpairs, WidensToHalfTheOrderAndKeepsWhatItHolds) {
  for (const std::size_t order : {2U, 3U, 9U, 26U, 60U}) {
    SCOPED_TRACE(order);
    const std::vector<double> values = falling(order, 0.4);
    const std::vector<double> A = withSpectrum(values, 8);
    LeadingEigenpairs pairs(static_cast<int>(order));
    pairs.start(A);
    steps(pairs, 40);
    int before = pairs.width();
    while (pairs.widen()) {
      EXPECT_GT(pairs.width(), before);
      before = pairs.width();
      pairs.step();
      expectPairs(pairs, A, values, 1);  // at once: the leading pair was not lost
      expectOrthonormal(pairs);
    }
    EXPECT_EQ(pairs.width(), std::max(1, static_cast<int>(order) / 2));
    EXPECT_FALSE(pairs.widen());
    EXPECT_EQ(pairs.width(), before) << "refused: as wide as before";
    steps(pairs, 40);
    expectPairs(pairs, A, values, pairs.width());
  }
}

// The first width is enough for a few signals; what it cannot hold comes by widening.
TEST(LeadingEigenpairs, WidenedItFindsPairsThatWereBehindTheBlock) {
  std::vector<double> values(40, 1e-4);
  for (std::size_t k = 0; k < 15; ++k) {
    values[k] = 20.0 - static_cast<double>(k);
  }
  const std::vector<double> A = withSpectrum(values, 6);
  LeadingEigenpairs pairs(40);
  pairs.start(A);
  while (pairs.widen()) {
  }
  ASSERT_EQ(pairs.width(), 20);
  steps(pairs, 20);
  expectPairs(pairs, A, values, 15);
}

// A block as wide as the rank holds the whole range after one step, if all its columns are different, those
// that it grew by before the first step too.
TEST(LeadingEigenpairs, EveryColumnOfAWideBlockIsAnother) {
  std::vector<double> values(60, 0.0);
  for (std::size_t k = 0; k < 20; ++k) {
    values[k] = 20.0 - static_cast<double>(k);
  }
  const std::vector<double> A = withSpectrum(values, 7);
  LeadingEigenpairs pairs(60);
  pairs.start(A);
  ASSERT_TRUE(pairs.widen());
  ASSERT_TRUE(pairs.widen());
  ASSERT_EQ(pairs.width(), 24);
  steps(pairs, 1);
  for (int k = 0; k < 20; ++k) {
    // BOUND: as in expectPairs, times the condition number of C^2 within its range, 400, and of random
    // columns, some tens: 1e-9.
    EXPECT_NEAR(pairs.value(k), values[static_cast<std::size_t>(k)], 1e-9) << k;
  }
}

TEST(LeadingEigenpairs, ValuesDescend) {
  std::mt19937_64 random(2);
  std::uniform_real_distribution<double> uniform(0.1, 1.0);
  std::vector<double> values(50);
  std::ranges::generate(values, [&] { return uniform(random); });
  std::ranges::sort(values, std::greater<>());
  const std::vector<double> A = withSpectrum(values, 4);
  LeadingEigenpairs pairs(50);
  pairs.start(A);
  for (int i = 0; i < 10; ++i) {
    pairs.step();
    for (int k = 1; k < pairs.width(); ++k) {
      EXPECT_GE(pairs.value(k - 1), pairs.value(k));
    }
    EXPECT_LE(pairs.value(0), values[0] * (1.0 + 1000.0 * eps)) << "never above the largest";
  }
}

// EXACT: no state is carried from one matrix to the next.
TEST(LeadingEigenpairs, TheSameMatrixGivesTheSamePairs) {
  const std::vector<double> A = withSpectrum(falling(30, 0.7), 1);
  const std::vector<double> other = withSpectrum(falling(30, 0.3), 2);
  LeadingEigenpairs fresh(30);
  fresh.start(A);
  steps(fresh, 3);
  LeadingEigenpairs used(30);
  used.start(other);
  steps(used, 4);
  while (used.widen()) {
  }
  used.step();
  used.start(A);
  steps(used, 3);
  ASSERT_EQ(used.width(), fresh.width());
  for (int k = 0; k < fresh.width(); ++k) {
    EXPECT_EQ(used.value(k), fresh.value(k));
    EXPECT_EQ(used.residual(k), fresh.residual(k));
    EXPECT_TRUE(std::ranges::equal(used.vector(k), fresh.vector(k))) << k;
  }
}
