#include "flightpath/ranging/detail/count_search.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <optional>
#include <random>
#include <span>
#include <vector>

using flightpath::countSignals;
using flightpath::EigenvalueSums;

namespace {

EigenvalueSums sumsOf(const std::vector<double>& values) {
  EigenvalueSums sums = {static_cast<int>(values.size()), 1, 0.0, 0.0, 0.0};
  for (const double value : values) {
    sums.trace += value;
    sums.logDeterminant += std::log(value);
  }
  return sums;
}

/// Q(k) written out, each mean from the remaining values themselves.
long double criterion(const std::vector<double>& values, std::size_t k) {
  const long double m = static_cast<long double>(values.size());
  const long double left = m - static_cast<long double>(k);
  long double sum = 0.0L;
  long double logs = 0.0L;
  for (std::size_t i = k; i < values.size(); ++i) {
    sum += values[i];
    logs += std::log(static_cast<long double>(values[i]));
  }
  const long double penalty =
      (2.0L * m - static_cast<long double>(k) + 1.0L) * static_cast<long double>(k) / 2.0L;
  return penalty + left * (std::log(sum / left) - logs / left);
}

int plainCount(const std::vector<double>& values) {
  std::size_t best = 0;
  for (std::size_t k = 1; k < values.size(); ++k) {
    best = criterion(values, k) < criterion(values, best) ? k : best;
  }
  return static_cast<int>(best);
}

/// How far the best Q is from the second best.
long double margin(const std::vector<double>& values) {
  std::vector<long double> Q;
  for (std::size_t k = 0; k < values.size(); ++k) {
    Q.push_back(criterion(values, k));
  }
  std::ranges::sort(Q);
  return Q.size() < 2 ? 1.0L : Q[1] - Q[0];
}

/// A few values that stand out of a random tail.
std::vector<double> randomEigenvalues(std::mt19937_64& random) {
  std::uniform_int_distribution<int> order(1, 40);
  std::uniform_int_distribution<int> signals(0, 6);
  std::uniform_real_distribution<double> tail(0.5, 2.0);
  std::uniform_real_distribution<double> decades(0.0, 8.0);
  std::vector<double> values;
  const int m = order(random);
  const int numSignals = std::min(signals(random), m);
  for (int i = 0; i < m; ++i) {
    values.push_back(i < numSignals ? std::pow(10.0, decades(random)) : tail(random));
  }
  std::ranges::sort(values, std::greater<>());
  return values;
}

}  // namespace

// EXACT: counts worked out by hand.
TEST(CountSignals, SmallCases) {
  // m = 2: Q(0) = 2 log(AM / GM), Q(1) = 2. They meet where AM / GM = e.
  struct Row {
    std::vector<double> values;
    int expected;
    const char* why;
  };
  const Row rows[] = {
      {{5.0}, 0, "one value: Q(0) = 0 is all there is"},
      {{1e-300}, 0, "one tiny value"},
      {{3.0, 3.0}, 0, "two equal values: Q(0) = 0"},
      {{28.0, 1.0}, 1, "AM / GM = 14.5 / 5.292 = 2.740 > e: Q(0) = 2.016 > 2"},
      {{27.0, 1.0}, 0, "AM / GM = 14 / 5.196 = 2.694 < e: Q(0) = 1.982 < 2"},
      {{29.0, 1.0}, 1, "AM / GM = 15 / 5.385 = 2.785 > e: Q(0) = 2.049 > 2"},
      {{1e6, 1.0, 1.0, 1.0}, 1, "Q(1) = 4 against Q(0) = 4 log(2.5e5 / 31.6) = 35.9"},
      {{1e6, 1e6, 1.0, 1.0}, 2, "Q(2) = 7 against Q(1) = 4 + 3 log(3.3e5 / 100) = 28.3"},
      {{1.0, 1.0, 1.0, 1.0, 1.0}, 0, "no likelihood to gain"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(countSignals(sumsOf(row.values), row.values), row.expected) << row.why;
  }
}

// EXACT: sums made up so that Q(0) = 2 log(2 / 2) + 2 is the penalty of k = 1 to the bit.
TEST(CountSignals, OfEqualCriteriaTheSmallerCountWins) {
  EXPECT_EQ(countSignals({2, 1, 2.0, -2.0, 0.0}, std::vector<double>{1.5}), 0);
  EXPECT_EQ(countSignals({2, 1, 2.0, -2.0, 0.0}, {}), 0) << "and it takes no eigenvalue to say so";
}

// EXACT: Q(1) = 28.3 leaves room for the penalty 7 of k = 2; Q(2) = 7 leaves none for 9.
TEST(CountSignals, SaysWhetherItNeedsMoreEigenvalues) {
  const std::vector<double> values = {1e6, 1e6, 1.0, 1.0};
  const EigenvalueSums sums = sumsOf(values);
  EXPECT_FALSE(countSignals(sums, {}).has_value());
  EXPECT_FALSE(countSignals(sums, std::vector<double>{1e6}).has_value());
  EXPECT_EQ(countSignals(sums, std::vector<double>{1e6, 1e6}), 2);
  EXPECT_EQ(countSignals(sums, values), 2);
}

// EXACT: the smallest of all Q(k), unless two of them are within rounding of each other.
TEST(CountSignals, IsTheSmallestOfTheCriterionOverAllCounts) {
  std::mt19937_64 random(4);
  int compared = 0;
  for (int trial = 0; trial < 3000; ++trial) {
    const std::vector<double> values = randomEigenvalues(random);
    if (margin(values) < 1e-6L) {
      continue;
    }
    ++compared;
    ASSERT_EQ(countSignals(sumsOf(values), values), plainCount(values)) << "trial " << trial;
  }
  EXPECT_GT(compared, 2900);
}

// EXACT: an answer from a few eigenvalues is the answer from all of them.
TEST(CountSignals, AnAnswerFromFewEigenvaluesStands) {
  std::mt19937_64 random(5);
  int early = 0;
  for (int trial = 0; trial < 500; ++trial) {
    const std::vector<double> values = randomEigenvalues(random);
    const EigenvalueSums sums = sumsOf(values);
    const std::optional<int> all = countSignals(sums, values);
    ASSERT_TRUE(all.has_value());
    bool answered = false;
    for (std::size_t known = 0; known < values.size(); ++known) {
      const auto some = countSignals(sums, std::span<const double>(values).first(known));
      EXPECT_TRUE(some.has_value() || !answered) << "knowing more cannot lose the answer";
      EXPECT_EQ(some.value_or(*all), *all) << trial;
      answered = some.has_value();
    }
    early += answered ? 1 : 0;
  }
  EXPECT_GT(early, 400);
}

// EXACT: a sum of logarithms that is off shifts every Q alike, so within the slack it changes nothing
// but how far the search looks.
TEST(CountSearch, AnUncertainSumOfLogarithmsDoesNotChangeTheCount) {
  std::mt19937_64 random(5);
  std::exponential_distribution<double> noise(1.0);
  for (int trial = 0; trial < 200; ++trial) {
    std::vector<double> values = {900.0, 300.0, 80.0};
    for (int k = 0; k < 40; ++k) {
      values.push_back(0.2 + noise(random));
    }
    std::ranges::sort(values, std::greater<>());
    EigenvalueSums sums = sumsOf(values);
    const std::optional<int> expected = flightpath::countSignals(sums, values);
    sums.slack = 2.0;
    for (const double error : {-2.0, -0.5, 0.5, 2.0}) {
      EigenvalueSums off = sums;
      off.logDeterminant += error;
      EXPECT_EQ(flightpath::countSignals(off, values), expected) << trial << " " << error;
    }
  }
}

// EXACT: S snapshots have S times the likelihood: with S = 3 and AM / GM = 14 / 5.196 the second of the
// rows above turns, 3 * 1.982 against 2.
TEST(CountSearch, SnapshotsMultiplyTheLikelihoodAlone) {
  const std::vector<double> values = {27.0, 1.0};
  EigenvalueSums sums = sumsOf(values);
  EXPECT_EQ(countSignals(sums, values), 0);
  sums.snapshots = 3;
  EXPECT_EQ(countSignals(sums, values), 1);
}

// EXACT: what the sum of logarithms may be off counts once per snapshot too.
TEST(CountSearch, SnapshotsMultiplyTheSlackToo) {
  EigenvalueSums sums = sumsOf({3.0, 1.0});
  sums.snapshots = 4;
  const double likelihood =
      4.0 * 2.0 * std::log(2.0 / std::sqrt(3.0));  // 1.15, below the penalty 2
  EXPECT_LT(likelihood, 2.0);
  sums.slack = 0.1;
  EXPECT_EQ(countSignals(sums, {}), 0) << "2 >= 1.15 + 0.4";
  sums.slack = 0.3;
  EXPECT_FALSE(countSignals(sums, {}).has_value()) << "2 < 1.15 + 1.2";
}
