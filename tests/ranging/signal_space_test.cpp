#include "flightpath/ranging/detail/signal_space.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <random>
#include <span>
#include <vector>

#include "flightpath/rules/subvector_length.h"
#include "tests/ranging/full_decomposition.h"
#include "tests/support/columns.h"
#include "tests/support/ranging.h"
#include "tests/support/snapshots.h"
#include "tests/support/spectra.h"

using flightpath::SignalSpace;
using support::withSpectrum;

namespace {

/// |C v - theta v| over theta
double relativeResidual(const std::vector<double>& A, std::span<const double> v, double value) {
  const std::size_t n = v.size();
  double squares = 0.0;
  for (std::size_t i = 0; i < n; ++i) {
    double sum = 0.0;
    for (std::size_t j = 0; j < n; ++j) {
      sum += A[j * n + i] * v[j];
    }
    squares += (sum - value * v[i]) * (sum - value * v[i]);
  }
  return std::sqrt(squares) / value;
}

/// Signals that fall by `ratio` each, over noise whose eigenvalues spread.
std::vector<double> slowSpectrum(int signals, double ratio, unsigned seed) {
  std::mt19937_64 random(seed);
  std::uniform_real_distribution<double> noise(0.2, 1.8);
  std::vector<double> values(60);
  std::ranges::generate(values, [&] { return noise(random); });
  for (int k = 0; k < signals; ++k) {
    values[static_cast<std::size_t>(k)] = 1e4 * std::pow(ratio, k);
  }
  std::ranges::sort(values, std::greater<>());
  return values;
}

}  // namespace

// EXACT: the count that the criterion gives with every eigenvalue, also where the iteration settles
// slowly.
TEST(SignalSpace, CountsAsEveryEigenvalueDoes) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    for (const double ratio : {0.5, 0.9}) {
      const int signals = static_cast<int>(seed % 7);
      const std::vector<double> values = slowSpectrum(signals, ratio, seed);
      const std::vector<double> A = withSpectrum(values, seed);
      SignalSpace space(60, 60, 1);
      EXPECT_EQ(space.count(A), support::countByAll(values)) << seed << ", " << ratio;
    }
  }
}

// EXACT: noise far below the rounding of single precision is noise still, where the iteration is
// given up because sixteen signals of one size would take too many of its steps.
TEST(SignalSpace, FaintNoiseIsNoiseWhereTheIterationIsGivenUp) {
  constexpr int N = 300;
  std::vector<SimulatedPath> paths;
  for (int i = 0; i < 16; ++i) {
    const double cells = 10.0 + 8.0 * i;
    paths.push_back({cells / (flightpath::subvectorLength(N) * support::spacing_Hz), 1.0, 0.0});
  }
  for (unsigned seed = 0; seed < 10; ++seed) {
    std::mt19937_64 random(seed);
    const auto x = support::drawRows(paths, N, 1, 80.0, random);
    const auto found = support::estimateAlone(x, support::options());
    EXPECT_EQ(support::columnsOf(found).numSignals[0],
              support::countByAll(support::allEigenvalues(x)));
  }
}

// BOUND: 1e-6 of the eigenvalue, and a hundredth of that for the rounding of the residual itself.
TEST(SignalSpace, EigenvectorsOfSignalsAreGoodToAMillionth) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    const std::vector<double> A = withSpectrum(slowSpectrum(4, 0.6, seed), seed);
    SignalSpace space(60, 60, 1);
    const int counted = space.count(A);
    ASSERT_GE(counted, 4);
    for (int k = 0; k < counted; ++k) {
      EXPECT_LE(relativeResidual(A, space.vector(k), space.value(k)), 1.01e-6) << seed << ", " << k;
    }
    ASSERT_EQ(space.take(A, 3), 3);
    for (int k = 0; k < 3; ++k) {
      EXPECT_LE(relativeResidual(A, space.vector(k), space.value(k)), 1.01e-6) << seed << ", " << k;
    }
  }
}
