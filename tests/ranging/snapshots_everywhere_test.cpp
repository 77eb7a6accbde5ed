#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

#include "flightpath/ranging/detail/real_covariance.h"
#include "flightpath/rules/subvector_length.h"
#include "flightpath/toolbox/detail/lapack.h"
#include "simulated_channel.h"
#include "tests/support/columns.h"
#include "tests/support/ranging.h"
#include "tests/support/snapshots.h"

namespace {

using flightpath::PathSet;
using flightpath::Ranger;
using flightpath::RangingOptions;
using support::columnsOf;
using support::drawRows;
using support::options;
using support::Samples;
using support::spacing_Hz;
using support::withSnapshots;

/// Eigenvalues of the Ranger's matrix for all rows together, descending.
std::vector<double> allEigenvalues(const Samples& rows, int N) {
  const int L = flightpath::subvectorLength(N);
  const int S = static_cast<int>(rows.size()) / N;
  flightpath::SampleBlock block(N, S);
  EXPECT_TRUE(block.take({rows, static_cast<std::size_t>(N)}, 0));
  flightpath::RealCovariance form(N, L);
  form.form(block);
  const auto n = static_cast<std::size_t>(L);
  std::vector<double> A(form.matrix().begin(), form.matrix().end());
  std::vector<double> ascending(n);
  std::vector<double> work(3 * n);
  EXPECT_EQ(flightpath::lapack::symmetricEigen(L, A.data(), ascending.data(), work.data()), 0);
  return {ascending.rbegin(), ascending.rend()};
}

/// The k of the smallest penalty(k) + S (L - k) log(AM / GM), every k tried.
int countByModel(const std::vector<double>& descending, int snapshots) {
  const auto m = static_cast<double>(descending.size());
  int best = 0;
  double least = std::numeric_limits<double>::infinity();
  for (std::size_t k = 0; k < descending.size(); ++k) {
    const double left = m - static_cast<double>(k);
    double sum = 0.0;
    double logs = 0.0;
    for (std::size_t i = k; i < descending.size(); ++i) {
      sum += descending[i];
      logs += std::log(descending[i]);
    }
    const double charge = 0.5 * (2.0 * m - static_cast<double>(k) + 1.0) * static_cast<double>(k);
    const double Q = charge + snapshots * (left * std::log(sum / left) - logs);
    if (Q < least) {
      least = Q;
      best = static_cast<int>(k);
    }
  }
  return best;
}

int countOf(const Samples& rows, int N, int S) {
  Ranger ranger(static_cast<std::uint32_t>(N), withSnapshots(static_cast<std::uint32_t>(S)));
  const PathSet found = ranger.estimate({rows, static_cast<std::size_t>(N)});
  return found.numSignals()[0];
}

}  // namespace

// EXACT: from order 256 on the determinant comes from single precision; S counts there as elsewhere.
TEST(Snapshots, CountInTheRoughFactorisationToo) {
  constexpr int N = 342;
  ASSERT_GE(flightpath::subvectorLength(N), 256);
  std::mt19937_64 random(7);
  int telling = 0;
  for (const int S : {2, 3, 8}) {
    for (const double snr_dB : {-10.0, -5.0, 0.0, 10.0, 30.0}) {
      const auto paths = support::randomPaths(3, N, random);
      const Samples rows = drawRows(paths, N, S, snr_dB, random);
      const std::vector<double> eigenvalues = allEigenvalues(rows, N);
      const int expected = countByModel(eigenvalues, S);
      telling += expected != countByModel(eigenvalues, 1) ? 1 : 0;
      EXPECT_EQ(countOf(rows, N, S), expected) << S << " snapshots, " << snr_dB << " dB";
    }
  }
  EXPECT_GT(telling, 0) << "S decides in none of these cases";
}

// EXACT: where the matrix is singular, eigenvalues of rounding are raised to 2^-24 of the largest, and S
// multiplies their likelihood as it does elsewhere.
TEST(Snapshots, CountInASingularMatrixToo) {
  constexpr int N = 64;
  constexpr int S = 8;
  constexpr double cell_s = 1.0 / (N * spacing_Hz);
  std::mt19937_64 random(8);
  int telling = 0;
  for (double weak = 3e-4; weak < 5e-3; weak *= 1.1) {
    const Samples rows = drawRows({{2.0 * cell_s, 1.0, 0.0}, {13.0 * cell_s, weak, 0.0}}, N, S,
                                  std::numeric_limits<double>::infinity(), random);
    std::vector<double> eigenvalues = allEigenvalues(rows, N);
    const double least = 0x1p-24 * eigenvalues.front();
    std::ranges::for_each(eigenvalues, [=](double& value) { value = std::max(value, least); });
    const int expected = countByModel(eigenvalues, S);
    telling += expected != countByModel(eigenvalues, 1) ? 1 : 0;
    EXPECT_EQ(countOf(rows, N, S), expected) << weak;
  }
  EXPECT_GT(telling, 0) << "S decides in none of these cases";
}

// BOUND: each product and sum of S of them rounds by (S + 2) u, their angle by as much over the sum's
// share of the power, here above a quarter; the mean of N - 1 angles by (N - 1) u pi: in turns
// (N + 8 S) u. A row left out moves the angle by far more.
TEST(Snapshots, TheClosedFormTakesEveryRow) {
  constexpr int N = 64;
  std::mt19937_64 random(9);
  for (const int S : {2, 3, 4, 5, 7}) {
    RangingOptions how = withSnapshots(static_cast<std::uint32_t>(S));
    how.NumPaths = 1;
    const Samples rows = drawRows({{173e-9, 1.0, 0.0}}, N, S, 10.0, random);
    double turns = 0.0;
    for (std::size_t k = 0; k + 1 < N; ++k) {
      std::complex<double> step;
      for (std::size_t row = 0; row < static_cast<std::size_t>(S); ++row) {
        const creal32_T a = rows[row * N + k];
        const creal32_T b = rows[row * N + k + 1];
        step += std::complex<double>(b.re, b.im) * std::conj(std::complex<double>(a.re, a.im));
      }
      turns -= std::arg(step) / (2.0 * std::numbers::pi) / (N - 1);
    }
    const PathSet found = Ranger(N, how).estimate({rows, N});
    ASSERT_EQ(found[0].size(), 1U);
    EXPECT_NEAR(found[0][0].Delay_s * spacing_Hz, turns, (N + 8 * S) * 0x1p-24) << S;
  }
}

// EXACT: each thread has all its work space to itself, where estimates share snapshots too.
TEST(Snapshots, TheNumberOfThreadsDoesNotMatter) {
  constexpr int N = 64;
  std::mt19937_64 random(10);
  for (const int S : {2, 3}) {
    const Samples rows = drawRows(support::randomPaths(3, N, random), N, 300 * S, 20.0, random);
    RangingOptions how = withSnapshots(static_cast<std::uint32_t>(S));
    const auto expected = columnsOf(Ranger(N, how).estimate({rows, N}));
    for (const unsigned threads : {2U, 3U, 7U}) {
      how.Threads = threads;
      Ranger ranger(N, how);
      for (int call = 0; call < 3; ++call) {
        const auto found = columnsOf(ranger.estimate({rows, N}));
        EXPECT_EQ(found.offsets, expected.offsets) << S << ", " << threads;
        EXPECT_EQ(found.distances_m, expected.distances_m) << S << ", " << threads;
        EXPECT_EQ(found.peaks_dB, expected.peaks_dB) << S << ", " << threads;
      }
    }
  }
}
