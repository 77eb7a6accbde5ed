#include "tests/support/snapshots.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

#include "flightpath/music/smoothing.h"
#include "flightpath/toolbox/detail/blas.h"
#include "simulated_channel.h"
#include "tests/support/builders.h"
#include "tests/support/columns.h"
#include "tests/support/ranging.h"
#include "tests/support/reference_estimator.h"

/// Several measurements that share their paths.
namespace {

using flightpath::Outcome;
using flightpath::PathSet;
using flightpath::Ranger;
using flightpath::RangingOptions;
using support::columnsOf;
using support::drawRows;
using support::options;
using support::Samples;
using support::spacing_Hz;
using support::withSnapshots;

const std::vector<SimulatedPath> threePaths = {
    {40e-9, 1.0, 0.0}, {110e-9, 0.7, 0.0}, {200e-9, 0.5, 0.0}};

/// The mean of the dense route's covariances.
coder::array<creal32_T, 2> meanCovariance(const Samples& rows, int N) {
  flightpath::blas::useOneThread();
  const int count = static_cast<int>(rows.size()) / N;
  coder::array<creal32_T, 2> mean;
  for (int row = 0; row < count; ++row) {
    const auto first = rows.begin() + static_cast<std::ptrdiff_t>(row) * N;
    coder::array<creal32_T, 2> R;
    measurementSmoothing(support::column(Samples(first, first + N)), R);
    mean.set_size(R.size[0], R.size[1]);
    for (int k = 0; k < R.numel; ++k) {
      mean[k].re += R[k].re / static_cast<float>(count);
      mean[k].im += R[k].im / static_cast<float>(count);
    }
  }
  return mean;
}

/// Its eigenvalues, descending, in double precision.
std::vector<double> eigenvaluesOf(const coder::array<creal32_T, 2>& R) {
  support::ReferenceMatrix A(R.size[0]);
  for (int i = 0; i < R.size[0]; ++i) {
    for (int j = 0; j < R.size[1]; ++j) {
      A(i, j) = {R(i, j).re, R(i, j).im};
    }
  }
  return support::referenceEigen(A).values;
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

}  // namespace

// EXACT: one snapshot is what no snapshots were, and rows of a group are not those of the next.
TEST(Snapshots, OneIsAnEstimateOfEachRow) {
  std::mt19937_64 random(1);
  const Samples rows = drawRows(threePaths, 64, 6, 25.0, random);
  const PathSet each = Ranger(64, withSnapshots(1)).estimate({rows, 64});
  ASSERT_EQ(each.size(), 6U);
  EXPECT_EQ(columnsOf(each).distances_m,
            columnsOf(Ranger(64, options()).estimate({rows, 64})).distances_m);
  const PathSet pairs = Ranger(64, withSnapshots(2)).estimate({rows, 64});
  ASSERT_EQ(pairs.size(), 3U);
  for (std::size_t i = 0; i < 3; ++i) {
    const auto first = rows.begin() + static_cast<std::ptrdiff_t>(i * 128);
    const PathSet alone = Ranger(64, withSnapshots(2)).estimate({Samples(first, first + 128), 64});
    ASSERT_EQ(alone[0].size(), pairs[i].size());
    for (std::size_t k = 0; k < alone[0].size(); ++k) {
      EXPECT_EQ(alone[0][k].Distance_m, pairs[i][k].Distance_m);
    }
  }
}

// EXACT: the count of the mean of the dense route's covariances; single precision there decides nothing
// at these levels of noise.
TEST(Snapshots, CountAsTheMeanOfTheDenseCovariancesDoes) {
  std::mt19937_64 random(2);
  int seen[5] = {};
  for (const int N : {16, 21, 30, 64}) {
    for (const int S : {2, 3, 8}) {
      for (const double snr_dB : {0.0, 5.0, 10.0, 20.0, 30.0}) {
        for (int numPaths = 0; numPaths < 4; ++numPaths) {
          const auto paths = support::randomPaths(numPaths, N, random);
          const Samples rows = drawRows(paths, N, S, snr_dB, random);
          const PathSet found =
              Ranger(static_cast<std::uint32_t>(N), withSnapshots(static_cast<std::uint32_t>(S)))
                  .estimate({rows, static_cast<std::size_t>(N)});
          const int expected = countByModel(eigenvaluesOf(meanCovariance(rows, N)), S);
          EXPECT_EQ(found.numSignals()[0], expected) << N << " tones, " << S << " snapshots, "
                                                     << snr_dB << " dB, " << numPaths << " paths";
          ++seen[std::min(expected, 4)];
        }
      }
    }
  }
  for (int count = 0; count < 4; ++count) {
    EXPECT_GT(seen[count], 10) << count;
  }
}

// MODEL: 8 snapshots of independent phases at 10 dB: right in 99 % of 300 trials. One snapshot counts
// nothing there, and eight times the same row, phases alike, is no better than a likelihood of eight.
TEST(Snapshots, EightFindAt10dBWhatOneDoesNot) {
  constexpr int trials = 300;
  std::mt19937_64 random(3);
  int right = 0;
  int rightAlone = 0;
  const double cell_s = 1.0 / (64 * spacing_Hz);
  Ranger eight(64, withSnapshots(8));
  Ranger one(64, options());
  for (int trial = 0; trial < trials; ++trial) {
    const Samples rows = drawRows(threePaths, 64, 8, 10.0, random);
    const PathSet found = eight.estimate({rows, 64});
    bool allFound = found.numSignals()[0] == 3 && found[0].size() == 3;
    for (std::size_t k = 0; allFound && k < 3; ++k) {
      allFound = std::fabs(found[0][k].Delay_s - threePaths[k].delay_s) < 0.5 * cell_s;
    }
    right += allFound ? 1 : 0;
    const PathSet alone = one.estimate({rows.data(), 64, 64});
    rightAlone += alone.numSignals()[0] == 3 ? 1 : 0;
  }
  EXPECT_GE(right, 0.99 * trials);
  EXPECT_LE(rightAlone, 0.05 * trials);
}

// MODEL: sixteen rows have a quarter of the error of one, the angle being that of a sum; half of it is
// asked for. A sum over fewer rows than there are, or of one row sixteen times, would not get there.
TEST(Snapshots, TheClosedFormAveragesTheRows) {
  constexpr int trials = 300;
  const double delay_s = 173e-9;
  std::mt19937_64 random(4);
  RangingOptions how = withSnapshots(16);
  how.NumPaths = 1;
  Ranger together(64, how);
  Ranger each(64, options(1));
  double squares = 0.0;
  double squaresOfEach = 0.0;
  for (int trial = 0; trial < trials; ++trial) {
    const Samples rows = drawRows({{delay_s, 1.0, 0.0}}, 64, 16, 20.0, random);
    const PathSet found = together.estimate({rows, 64});
    ASSERT_EQ(found[0].size(), 1U);
    EXPECT_EQ(found[0][0].Peak_dB, 1.0F);
    squares += std::pow(found[0][0].Delay_s - delay_s, 2);
    const PathSet alone = each.estimate({rows.data(), 64, 64});
    squaresOfEach += std::pow(alone[0][0].Delay_s - delay_s, 2);
  }
  EXPECT_LT(std::sqrt(squares), 0.5 * std::sqrt(squaresOfEach));
  EXPECT_GT(std::sqrt(squares), 0.15 * std::sqrt(squaresOfEach));
}

// EXACT: rows of different power count by it, in any unit; a bad row is a bad estimate.
TEST(Snapshots, AreScaledTogetherAndSpoiltTogether) {
  std::mt19937_64 random(5);
  const Samples rows = drawRows(threePaths, 64, 4, 25.0, random);
  Ranger ranger(64, withSnapshots(2));
  const auto expected = columnsOf(ranger.estimate({rows, 64}));
  Samples scaled = rows;
  for (creal32_T& z : scaled) {
    z = {z.re * 0x1p80F, z.im * 0x1p80F};
  }
  EXPECT_EQ(columnsOf(ranger.estimate({scaled, 64})).distances_m, expected.distances_m);
  Samples spoilt = rows;
  spoilt[3 * 64 + 5].im = std::numeric_limits<float>::infinity();
  const PathSet found = ranger.estimate({spoilt, 64});
  EXPECT_EQ(found.outcomes()[0], Outcome::Found);
  EXPECT_EQ(found.outcomes()[1], Outcome::BadSamples);
  ASSERT_EQ(found[0].size(), expected.offsets[1]);
  EXPECT_EQ(found[0][0].Distance_m, expected.distances_m[0]);
}

TEST(Snapshots, EveryShortLengthGivesAConsistentAnswer) {
  std::mt19937_64 random(6);
  for (int N = 1; N <= 20; ++N) {
    for (const std::uint32_t S : {2U, 3U, 7U}) {
      for (const int forced : {-1, 0, 1, 2, 255}) {
        RangingOptions how = withSnapshots(S);
        how.PhaseSlopeForOnePath = N % 2 == 0;
        if (forced >= 0) {
          how.NumPaths = static_cast<std::uint32_t>(forced);
        }
        Samples rows =
            drawRows(support::randomPaths(2, N, random), N, static_cast<int>(S), 20.0, random);
        rows.resize(rows.size() + S * static_cast<std::size_t>(N));  // all zero
        const PathSet found = Ranger(static_cast<std::uint32_t>(N), how)
                                  .estimate({rows, static_cast<std::size_t>(N)});
        ASSERT_EQ(found.size(), 2U);
        for (const flightpath::Estimate estimate : found) {
          EXPECT_EQ(estimate.empty(), estimate.info().Result != Outcome::Found);
          EXPECT_LE(estimate.size(), static_cast<std::size_t>(estimate.info().NumSignals));
          for (const flightpath::Path path : estimate) {
            EXPECT_TRUE(std::isfinite(path.Distance_m) || N == 1);
          }
        }
      }
    }
  }
}
