#include "flightpath/music/signal_count.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

#include "flightpath/music/detail/covariance.h"
#include "flightpath/music/eigen.h"
#include "flightpath/runtime/nonfinite.h"
#include "tests/support/builders.h"
#include "tests/support/call_counter.h"
#include "tests/support/channels.h"
#include "tests/support/reference_estimator.h"
#include "tests/support/same_bits.h"

using coder::array;
using support::column;
using support::sameBits;

namespace {

struct Counted {
  float count = -1.0F;
  array<creal32_T, 2> eigenvectors;
  array<float, 1> eigenvalues;
};

Counted count(const array<creal32_T, 1>& x, int measurementContinual = 1) {
  Counted c;
  c.eigenvectors = support::matrix<creal32_T>(1, 2, {{7.0F, 7.0F}, {7.0F, 7.0F}});
  c.eigenvalues = column({7.0F});
  c.count = determineNumSignals(x, static_cast<unsigned char>(measurementContinual), c.eigenvectors,
                                c.eigenvalues);
  return c;
}

/// Ways through eigenpairs strongest first, as they come from the solver: a stable order.
std::vector<int> strongestFirst(const array<creal32_T, 1>& d) {
  std::vector<int> order(static_cast<std::size_t>(d.numel));
  std::iota(order.begin(), order.end(), 0);
  std::ranges::stable_sort(order, [&](int a, int b) { return d[a].re > d[b].re; });
  return order;
}

/// How far the best value of Q is ahead of the next best.
double lead(std::vector<double> Q) {
  std::ranges::sort(Q);
  return Q.size() < 2 ? rtInf : Q[1] - Q[0];
}

}  // namespace

TEST(DetermineNumSignals, NothingMeasuredCountsZero) {
  for (const int smoothed : {0, 1}) {
    const Counted c = count({}, smoothed);
    EXPECT_EQ(c.count, 0.0F);
    EXPECT_EQ(c.eigenvectors.numel, 0);
    EXPECT_EQ(c.eigenvectors.size[0], 0);
    EXPECT_EQ(c.eigenvalues.numel, 0);
  }
}

TEST(DetermineNumSignals, ZerosLeaveNoEigenvalueButAllEigenvectors) {
  array<creal32_T, 1> x;
  x.set_size(8);
  for (const int smoothed : {0, 1}) {
    const Counted c = count(x, smoothed);
    EXPECT_EQ(c.count, 0.0F);
    EXPECT_EQ(c.eigenvalues.numel, 0);
    EXPECT_EQ(c.eigenvectors.size[0], smoothed != 0 ? 6 : 8);
    EXPECT_EQ(c.eigenvectors.size[1], smoothed != 0 ? 6 : 8);
  }
}

// EXACT: |3 - 4i|^2.
TEST(DetermineNumSignals, OneSampleCountsZero) {
  for (const int smoothed : {0, 1}) {
    const Counted c = count(column<creal32_T>({{3.0F, -4.0F}}), smoothed);
    EXPECT_EQ(c.count, 0.0F);
    EXPECT_TRUE(sameBits(c.eigenvalues, column({25.0F})));
    EXPECT_TRUE(sameBits(c.eigenvectors, support::matrix<creal32_T>(1, 1, {{1.0F, 0.0F}})));
  }
}

// EXACT: the solver's own pairs in a stable descending order, and nothing else.
TEST(DetermineNumSignals, OrdersEigenpairsStrongestFirst) {
  for (const int smoothed : {0, 1}) {
    for (const int N : {2, 5, 16, 40}) {
      const array<creal32_T, 1> x = support::threeTones(N);
      array<creal32_T, 2> A;
      flightpath::sampleCovariance(x, smoothed != 0, A);
      array<creal32_T, 2> V;
      array<creal32_T, 1> d;
      coder::eig(A, V, d);
      const Counted c = count(x, smoothed);
      std::vector<float> positive;
      int k = 0;
      for (const int from : strongestFirst(d)) {
        if (d[from].re > 0.0F) {
          positive.push_back(d[from].re);
        }
        for (int i = 0; i < V.size[0]; ++i) {
          ASSERT_TRUE(sameBits(c.eigenvectors(i, k), V(i, from))) << N;
        }
        ++k;
      }
      EXPECT_EQ(c.eigenvectors.size[1], V.size[1]) << N;
      EXPECT_TRUE(sameBits(c.eigenvalues, column(positive))) << N;
    }
  }
}

// EXACT: diag(0, 4, 0) has two equal eigenvalues; their vectors keep the solver's order.
TEST(DetermineNumSignals, EqualEigenvaluesKeepTheirOrder) {
  const array<creal32_T, 1> x = column<creal32_T>({{0.0F, 0.0F}, {2.0F, 0.0F}, {0.0F, 0.0F}});
  const Counted c = count(x, 0);
  array<creal32_T, 2> A;
  flightpath::sampleCovariance(x, false, A);
  array<creal32_T, 2> V;
  array<creal32_T, 1> d;
  coder::eig(A, V, d);
  ASSERT_EQ(d[0].re, d[1].re);
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(sameBits(c.eigenvectors(i, 0), V(i, 2)));
    EXPECT_TRUE(sameBits(c.eigenvectors(i, 1), V(i, 0)));
    EXPECT_TRUE(sameBits(c.eigenvectors(i, 2), V(i, 1)));
  }
  EXPECT_TRUE(sameBits(c.eigenvalues, column({4.0F})));
}

// EXACT: any byte that is not zero.
TEST(DetermineNumSignals, FlagIsSetByAnyNonZeroByte) {
  const array<creal32_T, 1> x = support::threeTones(20);
  const Counted one = count(x, 1);
  for (const int flag : {2, 128, 255}) {
    const Counted c = count(x, flag);
    EXPECT_EQ(c.count, one.count);
    EXPECT_TRUE(sameBits(c.eigenvectors, one.eigenvectors));
    EXPECT_TRUE(sameBits(c.eigenvalues, one.eigenvalues));
  }
  EXPECT_EQ(one.eigenvectors.size[0], 15);
  EXPECT_EQ(count(x, 0).eigenvectors.size[0], 20);
}

// Rank one: all but one eigenvalue are rounding noise, and how many of those are positive is luck.
TEST(DetermineNumSignals, PureToneWithoutSmoothing_OneToNEigenvaluesStay) {
  std::mt19937_64 random(1);
  for (const int N : {1, 2, 3, 17, 64}) {
    const Counted c = count(support::measure({{0.17}}, N, support::noNoise, random), 0);
    EXPECT_GE(c.eigenvalues.numel, 1) << N;
    EXPECT_LE(c.eigenvalues.numel, N) << N;
    EXPECT_GE(c.count, 0.0F) << N;
    EXPECT_LT(c.count, static_cast<float>(c.eigenvalues.numel)) << N;
    EXPECT_NEAR(c.eigenvalues[0], N, 1e-5 * N) << "N times a power of 1";
  }
}

TEST(DetermineNumSignals, CountIsWholeAndBelowTheNumberOfEigenvalues) {
  std::mt19937_64 random(2);
  for (int N = 1; N <= 60; ++N) {
    const Counted c = count(support::measure({{0.1}, {-0.3}}, N, 10.0, random));
    EXPECT_EQ(c.count, std::floor(c.count)) << N;
    EXPECT_GE(c.count, 0.0F) << N;
    EXPECT_LT(c.count, static_cast<float>(c.eigenvalues.numel)) << N;
    for (int k = 0; k < c.eigenvalues.numel; ++k) {
      EXPECT_GT(c.eigenvalues[k], 0.0F) << N;
      EXPECT_LE(c.eigenvalues[k], c.eigenvalues[std::max(k - 1, 0)]) << N;
    }
  }
}

// BOUND: the covariance and a backward stable solver move an eigenvalue by about 10 M eps times the
// largest. Up to 8 samples the smoothed covariance has full rank, so that the criterion does not
// feed on rounding noise, and the count has to agree wherever Q decides by more than the change
// that such a shift can make.
TEST(DetermineNumSignals, AgreesWithTheModelWhereTheCovarianceHasFullRank) {
  int decided = 0;
  for (std::uint64_t seed = 0; seed < 200; ++seed) {
    std::mt19937_64 random(seed);
    const int N = 2 + static_cast<int>(seed % 7);
    const array<creal32_T, 1> x = support::measure({{0.1}, {-0.27, 0.7, 1.0}}, N, 12.0, random);
    const Counted c = count(x);
    const support::ReferenceEigenpairs expected = support::referenceEigen(
        support::referenceSmoothing(support::toDouble({x.begin(), x.end()})));
    const int M = c.eigenvectors.size[0];
    ASSERT_EQ(expected.values.size(), static_cast<std::size_t>(M));
    const double shift = 10.0 * M * 0x1p-23 * expected.values.front();
    if (expected.values.back() < 100.0 * shift) {
      continue;
    }
    ASSERT_EQ(c.eigenvalues.numel, M) << seed;
    for (int k = 0; k < M; ++k) {
      EXPECT_NEAR(c.eigenvalues[k], expected.values[static_cast<std::size_t>(k)], shift) << seed;
    }
    const std::vector<double> Q = support::referenceCriterion(expected.values, true);
    if (lead(Q) > 0.02 * M) {  // M logarithms, each moved by at most shift / value < 0.01
      ++decided;
      EXPECT_EQ(c.count, static_cast<float>(std::ranges::min_element(Q) - Q.begin())) << seed;
    }
  }
  EXPECT_GE(decided, 100);
}

TEST(DetermineNumSignals, NonFiniteSampleGivesNaNAndZero_NoSolverIsCalled) {
  const int before = support::callCounts().hermitianSolves;
  for (const int smoothed : {0, 1}) {
    for (const float bad : {rtNaNF, rtInfF, rtMinusInfF, 3e38F}) {
      array<creal32_T, 1> x = support::threeTones(10);
      x[4].im = bad;  // the square of 3e38 is infinite
      const Counted c = count(x, smoothed);
      const int M = smoothed != 0 ? 8 : 10;
      EXPECT_EQ(c.count, 0.0F);
      ASSERT_EQ(c.eigenvalues.numel, M);
      ASSERT_EQ(c.eigenvectors.size[0], M);
      EXPECT_TRUE(std::ranges::all_of(c.eigenvalues, [](float v) { return std::isnan(v); }));
      EXPECT_TRUE(std::ranges::all_of(c.eigenvectors, [](creal32_T z) {
        return sameBits(z, creal32_T{rtNaNF, 0.0F});
      }));
    }
  }
  EXPECT_EQ(support::callCounts().hermitianSolves, before);
}

TEST(DetermineNumSignals, RefusingSolverGivesNaNAndZero) {
  const support::FailingSolver failing(-5);
  const Counted c = count(support::threeTones(12));
  EXPECT_EQ(c.count, 0.0F);
  ASSERT_EQ(c.eigenvalues.numel, 9);
  EXPECT_TRUE(std::ranges::all_of(c.eigenvalues, [](float v) { return std::isnan(v); }));
}

TEST(DetermineNumSignals, FiniteDataGoToTheHermitianSolver) {
  const support::CallCounts before = support::callCounts();
  count(support::threeTones(33), 0);
  count(support::threeTones(33), 1);
  EXPECT_EQ(support::callCounts().hermitianSolves - before.hermitianSolves, 2);
  EXPECT_EQ(support::callCounts().generalSolves - before.generalSolves, 0);
}
