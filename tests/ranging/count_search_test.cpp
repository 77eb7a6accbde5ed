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
using flightpath::EigenvalueBounds;
using flightpath::EigenvalueSums;

namespace {

EigenvalueSums sumsOf(const std::vector<double>& values) {
  EigenvalueSums sums = {static_cast<int>(values.size()), 1, 0.0, 0.0};
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

// EXACT: S snapshots have S times the likelihood: with S = 3 and AM / GM = 14 / 5.196 the second of
// the rows above turns, 3 * 1.982 against 2.
TEST(CountSearch, SnapshotsMultiplyTheLikelihoodAlone) {
  const std::vector<double> values = {27.0, 1.0};
  EigenvalueSums sums = sumsOf(values);
  EXPECT_EQ(countSignals(sums, values), 0);
  sums.snapshots = 3;
  EXPECT_EQ(countSignals(sums, values), 1);
}

namespace {

/// What the eigenvalues after the first `known` really are.
EigenvalueBounds boundsOf(const std::vector<double>& values, std::size_t known) {
  EigenvalueBounds bounds = {static_cast<int>(values.size()), 1, 0.0, 0.0, 0.0};
  for (std::size_t k = 0; k < values.size(); ++k) {
    bounds.trace += values[k];
    bounds.squares += k < known ? 0.0 : values[k] * values[k];
  }
  bounds.next = values[known];
  return bounds;
}

/// Signals of many sizes over 400 eigenvalues of noise: a size for which bounds can be of use.
std::vector<double> longSpectrum(std::mt19937_64& random) {
  std::uniform_int_distribution<int> signals(0, 5);
  std::exponential_distribution<double> noise(1.0);
  std::uniform_real_distribution<double> decades(0.5, 6.0);
  std::vector<double> values;
  for (int k = signals(random); k > 0; --k) {
    values.push_back(std::pow(10.0, decades(random)));
  }
  while (values.size() < 400) {
    values.push_back(0.05 + noise(random));
  }
  std::ranges::sort(values, std::greater<>());
  return values;
}

}  // namespace

// EXACT: an answer from the first few eigenvalues and true bounds on the others is the answer from
// all of them; and it comes once all that stand out are known.
TEST(CountByBounds, AnswersAsAllEigenvaluesDoOrNotAtAll) {
  std::mt19937_64 random(11);
  for (int trial = 0; trial < 300; ++trial) {
    const std::vector<double> values = longSpectrum(random);
    const int expected = plainCount(values);
    for (std::size_t known = 0; known < 9; ++known) {
      const auto count =
          countSignals(boundsOf(values, known), std::span<const double>(values).first(known));
      EXPECT_EQ(count.value_or(expected), expected) << trial << ", " << known;
      if (known > 5) {
        EXPECT_TRUE(count.has_value()) << trial << ", " << known;
      }
    }
  }
}

// EXACT: each of three equal signals alone raises Q, all three lower it: what is known of fewer
// decides nothing.
TEST(CountByBounds, SeveralSignalsTogetherMayWinWhereOneLoses) {
  std::vector<double> values(400, 1.0);
  std::fill_n(values.begin(), 3, 1e4);
  ASSERT_GT(criterion(values, 1), criterion(values, 0)) << "the case is none";
  ASSERT_EQ(plainCount(values), 3);
  for (std::size_t known = 0; known < 3; ++known) {
    EXPECT_FALSE(
        countSignals(boundsOf(values, known), std::span<const double>(values).first(known)))
        << known;
  }
  EXPECT_EQ(countSignals(boundsOf(values, 3), std::span<const double>(values).first(3)), 3);
}

// EXACT: with S rows every fall is S times as deep: an eigenvalue of a tenth of the sum is nothing
// to one row, and a signal to twelve.
TEST(CountByBounds, SnapshotsDeepenTheFall) {
  std::vector<double> values(400, 1.0);
  values[0] = 44.0;
  EigenvalueBounds bounds = boundsOf(values, 0);
  EXPECT_EQ(countSignals(bounds, {}), 0);
  bounds.snapshots = 12;
  EXPECT_FALSE(countSignals(bounds, {}));
  bounds = boundsOf(values, 1);
  bounds.snapshots = 12;
  EXPECT_EQ(countSignals(bounds, std::span<const double>(values).first(1)), 1);
}

// EXACT: the best of what is known, though the third of the equal eigenvalues would turn it.
TEST(CountAmongLeading, IsTheBestOfTheCountsThatAreKnown) {
  std::vector<double> values(400, 1.0);
  std::fill_n(values.begin(), 3, 1e4);
  const double trace = boundsOf(values, 0).trace;
  const std::span<const double> leading(values);
  EXPECT_EQ(flightpath::countAmongLeading(400, 1, trace, {}), 0);
  EXPECT_EQ(flightpath::countAmongLeading(400, 1, trace, leading.first(2)), 0);
  EXPECT_EQ(flightpath::countAmongLeading(400, 1, trace, leading.first(3)), 3);
  EXPECT_EQ(flightpath::countAmongLeading(400, 1, trace, leading.first(9)), 3);
}

// EXACT: the criterion over eigenvalues of which those below the rounding of the samples are raised
// to it.
TEST(CountAboveRounding, IsTheCountOfRaisedEigenvalues) {
  for (const double third : {1.0, 1e-3, 1e-6, 5e-8, 1e-9}) {
    std::vector<double> values(60, 1e-15);
    values[0] = 1.0;
    values[1] = 0.4;
    values[2] = third;
    std::ranges::sort(values, std::greater<>());
    std::vector<double> raised = values;
    for (double& value : raised) {
      value = std::max(value, flightpath::roundingOfSamples);
    }
    std::vector<double> leading = {values[0], values[1], values[2]};
    EXPECT_EQ(flightpath::countAboveRounding(60, 1, leading), plainCount(raised)) << third;
  }
  std::vector<double> none;
  EXPECT_EQ(flightpath::countAboveRounding(60, 1, none), 0);
  std::vector<double> zeros = {0.0, 0.0};
  EXPECT_EQ(flightpath::countAboveRounding(60, 1, zeros), 0);
}
