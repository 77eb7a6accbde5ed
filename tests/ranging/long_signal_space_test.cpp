#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numbers>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "flightpath/ranging/detail/music_paths.h"
#include "flightpath/rules/subvector_length.h"
#include "simulated_channel.h"
#include "tests/ranging/full_decomposition.h"
#include "tests/support/columns.h"
#include "tests/support/ranging.h"
#include "tests/support/snapshots.h"

/// From N = 280 on the covariance is not formed.
namespace {

using support::allEigenvalues;
using support::countByAll;
using support::Samples;
using support::spacing_Hz;

constexpr int N = 507;

/// `count` equal paths five cells apart: a cell is the resolution, 1 / (N spacing).
std::vector<SimulatedPath> pathsWellApart(int count) {
  std::vector<SimulatedPath> paths;
  paths.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    paths.push_back({(10.0 + 5.0 * i) / (N * spacing_Hz), 1.0, 0.9 * i});
  }
  return paths;
}

Samples measure(int numPaths, double snr_dB, std::uint64_t seed) {
  std::mt19937_64 random(seed);
  return simulateChannel(pathsWellApart(numPaths), {N, spacing_Hz, snr_dB}, random);
}

int countOf(const Samples& x) {
  return support::columnsOf(support::estimateAlone(x, support::options())).numSignals[0];
}

}  // namespace

// EXACT: the count that the criterion gives with every eigenvalue in double.
TEST(LongSignalSpace, CountsAsAllEigenvaluesDo) {
  for (const double snr_dB : {-10.0, 10.0, 30.0}) {
    for (const int numPaths : {0, 1, 2, 5}) {
      const Samples x = measure(numPaths, snr_dB, 3);
      EXPECT_EQ(countOf(x), countByAll(allEigenvalues(x)))
          << numPaths << " paths at " << snr_dB << " dB";
    }
  }
}

// EXACT: noise far below the rounding of single precision is still noise.
TEST(LongSignalSpace, CountsAsAllEigenvaluesDoWhereNoiseIsFaint) {
  for (const double snr_dB : {50.0, 70.0, 90.0}) {
    const Samples x = measure(3, snr_dB, 4);
    const std::vector<double> eigenvalues = allEigenvalues(x);
    ASSERT_LT(eigenvalues.back(), 3e-5 * eigenvalues.front()) << "the case is none";
    EXPECT_EQ(countOf(x), countByAll(eigenvalues)) << snr_dB << " dB";
    EXPECT_EQ(countOf(x), 3) << snr_dB << " dB";
  }
}

// MODEL: each path within a tenth of the resolution.
TEST(LongSignalSpace, FindsThePathsWithAndWithoutNoise) {
  const double resolution_m = support::speedOfLight_mps / (N * spacing_Hz);
  for (const double snr_dB : {30.0, std::numeric_limits<double>::infinity()}) {
    const auto found = support::estimateAlone(measure(3, snr_dB, 5), support::options());
    ASSERT_EQ(found.distances_m().size(), 3U) << snr_dB << " dB";
    for (std::size_t i = 0; i < 3; ++i) {
      const double delay_s = pathsWellApart(3)[i].delay_s;
      EXPECT_NEAR(found.distances_m()[i], delay_s * support::speedOfLight_mps, 0.1 * resolution_m);
    }
  }
}

namespace {

flightpath::MusicPaths music(int numSamples, bool isLong, int numRows = 1,
                             std::optional<int> forced = {}) {
  flightpath::MusicPaths::Settings settings;
  settings.numRows = numRows;
  settings.numPaths = forced;
  settings.longFrom = isLong ? 0 : std::numeric_limits<int>::max();
  return {numSamples, spacing_Hz, settings};
}

flightpath::SampleBlock blockOf(const Samples& rows, int numSamples) {
  const auto length = static_cast<std::size_t>(numSamples);
  flightpath::SampleBlock block(numSamples, static_cast<int>(rows.size() / length));
  EXPECT_TRUE(block.take({rows, length}, 0));
  return block;
}

/// The same count, and the same paths within one fine step.
void expectSameAnswer(flightpath::MusicPaths& formed, flightpath::MusicPaths& unformed,
                      const flightpath::SampleBlock& block, double step, const std::string& what) {
  const auto expected = formed.find(block);
  const auto actual = unformed.find(block);
  EXPECT_EQ(actual.NumSignals, expected.NumSignals) << what;
  EXPECT_EQ(actual.Result, expected.Result) << what;
  ASSERT_EQ(unformed.paths().size(), formed.paths().size()) << what;
  for (std::size_t i = 0; i < formed.paths().size(); ++i) {
    EXPECT_NEAR(unformed.paths()[i].frequency, formed.paths()[i].frequency, 1.01 * step) << what;
  }
}

double fineStep(int numSamples) {
  return flightpath::defaultResolutions(numSamples, spacing_Hz).fine;
}

}  // namespace

// MODEL: the answers of the road that forms the covariance, with none to five paths at 5 to 70 dB.
TEST(LongSignalSpace, AnswersAsTheFormedCovarianceDoes) {
  for (const int numSamples : {279, 280, 400, 501}) {
    flightpath::MusicPaths formed = music(numSamples, false);
    flightpath::MusicPaths unformed = music(numSamples, true);
    for (unsigned trial = 0; trial < 40; ++trial) {
      std::mt19937_64 random(trial);
      const auto paths = support::randomPaths(static_cast<int>(trial % 6), numSamples, random);
      const double snr_dB = 5.0 + 13.0 * (trial % 6);
      const Samples x = simulateChannel(paths, {numSamples, spacing_Hz, snr_dB}, random);
      expectSameAnswer(formed, unformed, blockOf(x, numSamples), fineStep(numSamples),
                       std::to_string(numSamples) + ", trial " + std::to_string(trial));
    }
  }
}

// MODEL: the same for several rows, which one covariance is the mean of.
TEST(LongSignalSpace, AnswersAsTheFormedCovarianceOfSeveralRowsDoes) {
  constexpr int numSamples = 330;
  for (const int rows : {2, 3, 8}) {
    flightpath::MusicPaths formed = music(numSamples, false, rows);
    flightpath::MusicPaths unformed = music(numSamples, true, rows);
    for (unsigned trial = 0; trial < 12; ++trial) {
      std::mt19937_64 random(trial);
      const auto paths = support::randomPaths(static_cast<int>(trial % 4), numSamples, random);
      const Samples x = support::drawRows(paths, numSamples, rows, 10.0 * (trial % 5), random);
      expectSameAnswer(formed, unformed, blockOf(x, numSamples), fineStep(numSamples),
                       std::to_string(rows) + " rows, trial " + std::to_string(trial));
    }
  }
}

// MODEL: the same for counts that are forced, of signals.
TEST(LongSignalSpace, TakesForcedCountsAsTheFormedCovarianceDoes) {
  constexpr int numSamples = 400;
  for (const int forced : {1, 2, 3, 6}) {
    flightpath::MusicPaths formed = music(numSamples, false, 1, forced);
    flightpath::MusicPaths unformed = music(numSamples, true, 1, forced);
    std::mt19937_64 random(static_cast<unsigned>(forced));
    const auto paths = support::randomPaths(forced, numSamples, random);
    const Samples x = simulateChannel(paths, {numSamples, spacing_Hz, 40.0}, random);
    expectSameAnswer(formed, unformed, blockOf(x, numSamples), fineStep(numSamples),
                     std::to_string(forced));
  }
}

// EXACT: equal paths on exact grid frequencies, without noise: an eigenvalue that stands more often
// than a block of products has columns is counted as often as it stands.
TEST(LongSignalSpace, CountsEqualPathsWithoutNoise) {
  for (const int numPaths : {4, 5, 6, 9}) {
    EXPECT_EQ(countOf(measure(numPaths, std::numeric_limits<double>::infinity(), 1)), numPaths);
  }
}

namespace {

/// `count` equal paths, eight cells of the subvectors apart.
std::vector<SimulatedPath> pathsOnGrid(int count, int numSamples) {
  std::vector<SimulatedPath> paths;
  paths.reserve(static_cast<std::size_t>(count));
  const double cell_s = 1.0 / (flightpath::subvectorLength(numSamples) * spacing_Hz);
  for (int i = 0; i < count; ++i) {
    paths.push_back({(10.0 + 8.0 * i) * cell_s, 1.0, 0.0});
  }
  return paths;
}

/// Rows in which path p has turned by p turns after the last: the mean of their covariances has
/// `count` eigenvectors with the same eigenvalue, noise apart.
Samples rowsOfOneEigenvalue(int count, int numSamples, int rows, double snr_dB,
                            std::mt19937_64& random) {
  Samples all;
  for (int row = 0; row < rows; ++row) {
    std::vector<SimulatedPath> paths = pathsOnGrid(count, numSamples);
    for (int p = 0; p < count; ++p) {
      paths[static_cast<std::size_t>(p)].phase_rad = 2.0 * std::numbers::pi * row * p / rows;
    }
    const Samples x = simulateChannel(paths, {numSamples, spacing_Hz, snr_dB}, random);
    all.insert(all.end(), x.begin(), x.end());
  }
  return all;
}

int longCount(const Samples& rows, int numSamples) {
  const flightpath::SampleBlock block = blockOf(rows, numSamples);
  return music(numSamples, true, block.numRows()).find(block).NumSignals;
}

}  // namespace

// EXACT: what a settled value still lacks is small beside it, but not beside noise 40 dB below,
// with which the criterion compares it. All signals together are worth hardly more than they are
// charged.
TEST(LongSignalSpace, ValuesAreGoodEnoughForTheNoiseThatTheyLeave) {
  struct Case {
    int numSamples;
    int numPaths;
    double snr_dB;
  };
  for (const auto& [numSamples, numPaths, snr_dB] : {Case{400, 9, 40.5}, Case{500, 7, 32.0}}) {
    for (unsigned seed = 0; seed < 30; ++seed) {
      std::mt19937_64 random(seed);
      const auto paths = pathsOnGrid(numPaths, numSamples);
      const Samples x = support::drawRows(paths, numSamples, 1, snr_dB, random);
      EXPECT_EQ(longCount(x, numSamples), countByAll(allEigenvalues(x)))
          << numPaths << ", " << seed;
    }
  }
}

// EXACT: what a block that came later says of the rest counts from its second step on.
TEST(LongSignalSpace, ABlockThatCameLaterIsHeardOut) {
  constexpr int numSamples = 500;
  for (unsigned seed = 0; seed < 8; ++seed) {
    std::mt19937_64 random(seed);
    const Samples x = support::drawRows(pathsOnGrid(20, numSamples), numSamples, 2, 60.0, random);
    EXPECT_EQ(longCount(x, numSamples), 20) << seed;
  }
}

// EXACT: a signal of which the block has met a small part counts for all that it may be.
TEST(LongSignalSpace, ASignalThatIsHardlyMetIsNotNoise) {
  constexpr int numSamples = 500;
  for (unsigned seed = 0; seed < 12; ++seed) {
    std::mt19937_64 random(seed);
    const Samples x = support::drawRows(pathsOnGrid(5, numSamples), numSamples, 8, 1.0, random);
    EXPECT_EQ(longCount(x, numSamples), 5) << seed;
  }
}

// EXACT: copies of an eigenvalue that no column has met are missing from the trace; with many rows,
// a few hundredths of it are enough.
TEST(LongSignalSpace, CountsEqualSignalsInNoise) {
  constexpr int numSamples = 320;
  for (unsigned seed = 0; seed < 4; ++seed) {
    for (const double snr_dB : {0.0, 20.0}) {
      std::mt19937_64 random(seed);
      EXPECT_EQ(longCount(rowsOfOneEigenvalue(5, numSamples, 8, snr_dB + 2.0, random), numSamples),
                5)
          << snr_dB << " dB, " << seed;
      EXPECT_EQ(longCount(rowsOfOneEigenvalue(16, numSamples, 32, snr_dB, random), numSamples), 16)
          << snr_dB << " dB, " << seed;
    }
  }
}

// MODEL: more paths than the products are enough for: the strongest of them, each within a tenth of
// the resolution.
TEST(LongSignalSpace, WhereProductsRunOutTheCountIsOfThoseThatSettled) {
  constexpr int numSamples = 1000;
  std::vector<SimulatedPath> paths = pathsOnGrid(80, numSamples);
  for (std::size_t i = 1; i < paths.size(); ++i) {
    paths[i].amplitude = 0.93 * paths[i - 1].amplitude;
  }
  std::mt19937_64 random(1);
  const Samples x = support::drawRows(paths, numSamples, 8, 60.0, random);
  flightpath::MusicPaths unformed = music(numSamples, true, 8);
  const int count = unformed.find(blockOf(x, numSamples)).NumSignals;
  EXPECT_GT(count, 50);
  EXPECT_LT(count, 80);
  ASSERT_EQ(unformed.paths().size(), static_cast<std::size_t>(count));
  std::set<long> found;
  for (const auto& path : unformed.paths()) {
    const double turns = path.frequency - std::floor(path.frequency);
    const double place = (turns * flightpath::subvectorLength(numSamples) - 10.0) / 8.0;
    EXPECT_NEAR(place, std::round(place), 0.1 * 0.75 / 8.0);
    found.insert(std::lround(place));
  }
  EXPECT_EQ(found.size(), unformed.paths().size()) << "each is another one";
  EXPECT_EQ(*found.rbegin(), count - 1) << "and they are the strongest";
}

// EXACT: counts that are forced beyond a quarter of the eigenvectors, and beyond all that there
// are, are those of the covariance that is formed.
TEST(LongSignalSpace, HugeForcedCountsAreTakenAsTheFormedCovarianceDoes) {
  constexpr int numSamples = 320;
  for (const int rows : {1, 3}) {
    std::mt19937_64 random(2);
    const auto paths = support::randomPaths(3, numSamples, random);
    const auto block =
        blockOf(support::drawRows(paths, numSamples, rows, 20.0, random), numSamples);
    for (const int forced : {61, 200, 300, 65535}) {
      flightpath::MusicPaths formed = music(numSamples, false, rows, forced);
      flightpath::MusicPaths unformed = music(numSamples, true, rows, forced);
      expectSameAnswer(formed, unformed, block, fineStep(numSamples), std::to_string(forced));
    }
  }
}

// EXACT: nothing is no signal, whatever is forced.
TEST(LongSignalSpace, ZerosHaveNoPath) {
  const Samples zeros(400);
  EXPECT_EQ(countOf(zeros), 0);
  for (const std::uint32_t forced : {2U, 5U, 30U}) {
    const auto found = support::estimateAlone(zeros, support::options(forced));
    EXPECT_TRUE(found.distances_m().empty()) << forced;
  }
}

// EXACT: an estimate has no memory of those before it.
TEST(LongSignalSpace, AnAnswerDependsOnItsRowAlone) {
  const Samples first = measure(5, 30.0, 6);
  const Samples second = measure(2, 15.0, 7);
  Samples batch = first;
  batch.insert(batch.end(), second.begin(), second.end());
  batch.insert(batch.end(), first.begin(), first.end());
  flightpath::Ranger ranger(N, support::options());
  const auto together = ranger.estimate({batch, N});
  const auto alone = support::estimateAlone(second, support::options());
  ASSERT_EQ(together[1].size(), alone[0].size());
  for (std::size_t i = 0; i < alone[0].size(); ++i) {
    EXPECT_EQ(together[1][i].Distance_m, alone[0][i].Distance_m);
    EXPECT_EQ(together[1][i].Peak_dB, alone[0][i].Peak_dB);
  }
  for (std::size_t i = 0; i < together[0].size(); ++i) {
    EXPECT_EQ(together[0][i].Distance_m, together[2][i].Distance_m);
  }
}

// MODEL: the longest record, whose covariance would take 9 GB: every path within five deviations.
TEST(LongSignalSpace, TheLongestRecordIsAsGoodAsAnyOther) {
  constexpr int longest = 65535;
  constexpr double cell_s = 1.0 / (longest * spacing_Hz);
  const std::vector<SimulatedPath> paths = {
      {40.0 * cell_s, 1.0, 0.3}, {47.5 * cell_s, 0.7, 1.9}, {1000.25 * cell_s, 0.5, -2.2}};
  std::mt19937_64 random(1);
  const Samples x = simulateChannel(paths, {longest, spacing_Hz, 25.0}, random);
  const auto found = support::estimateAlone(x, support::likelihood());
  ASSERT_EQ(found.delays_s().size(), 3U);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_NEAR(found.delays_s()[i], paths[i].delay_s,
                5.0 * found.deviations_m()[i] / support::speedOfLight_mps)
        << i;
  }
}
