#include <gtest/gtest.h>

#include <atomic>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <new>
#include <random>
#include <vector>

#include "flightpath/ranging/ranger.h"
#include "simulated_channel.h"
#include "tests/support/replaced_new.h"

// The global allocation of this program, replaced by one that counts.

namespace {

std::atomic<int> allocations = 0;

}  // namespace

void* support::takeBlock(std::size_t bytes, std::size_t alignment, WhenRefused) noexcept {
  ++allocations;
  return mallocBlock(bytes, alignment);
}

void support::giveBlockBack(void* block) noexcept { std::free(block); }

namespace {

constexpr double spacing_Hz = 312500.0;

/// Measurements that take every way through the estimator: none to five paths, noisy and noise-free,
/// all zero, not finite.
std::vector<creal32_T> mixedBatch(int N) {
  std::mt19937_64 random(77);
  std::vector<creal32_T> batch;
  std::vector<SimulatedPath> paths;
  for (int numPaths = 0; numPaths <= 5; ++numPaths) {
    for (const double snr_dB : {0.0, 15.0, 40.0, std::numeric_limits<double>::infinity()}) {
      const std::vector<creal32_T> x = simulateChannel(paths, {N, spacing_Hz, snr_dB}, random);
      batch.insert(batch.end(), x.begin(), x.end());
    }
    paths.push_back({(60.0 + 350.0 * numPaths) * 1e-9, 1.0, 0.9 * numPaths});
  }
  batch.resize(batch.size() + static_cast<std::size_t>(N));  // all zero
  batch.resize(batch.size() + static_cast<std::size_t>(N),
               {std::numeric_limits<float>::quiet_NaN(), 1.0F});
  return batch;
}

std::vector<creal32_T> rowsOf(int N, int rows) {
  std::mt19937_64 random(78);
  std::vector<creal32_T> all;
  for (int row = 0; row < rows; ++row) {
    const std::vector<creal32_T> x = simulateChannel(
        {{60e-9, 1.0, 0.9 * row}, {410e-9, 0.8, 2.1 * row}, {900e-9, 0.7, 0.3 * row}},
        {N, spacing_Hz, row % 5 == 4 ? 150.0 : 25.0}, random);
    all.insert(all.end(), x.begin(), x.end());
  }
  return all;
}

flightpath::RangingOptions withSnapshots(std::uint32_t snapshots) {
  flightpath::RangingOptions options;
  options.Method = flightpath::RangingMethod::Music;
  options.SubcarrierSpacing = spacing_Hz;
  options.SnapshotsPerEstimate = snapshots;
  return options;
}

}  // namespace

// EXACT: the counter counts, or the zero of the next test would say nothing.
TEST(RangerAllocation, TheCounterSeesWhatAVectorTakes) {
  const int before = allocations;
  const std::vector<double> some(100, 1.0);
  EXPECT_EQ(allocations - before, 1);
  EXPECT_EQ(some.back(), 1.0);
}

// EXACT: with one thread, the second call of a batch allocates nothing.
TEST(RangerAllocation, TheSecondCallIntoTheSamePathSetMakesNone) {
  for (const int N : {1, 7, 30, 64, 114}) {
    for (const int forced : {-1, 0, 1, 2, 3, 10, 255}) {
      flightpath::RangingOptions options;
      options.Method = flightpath::RangingMethod::Music;
      options.SubcarrierSpacing = spacing_Hz;
      if (forced >= 0) {
        options.NumPaths = static_cast<std::uint32_t>(forced);
      }
      const std::vector<creal32_T> batch = mixedBatch(N);
      const flightpath::CsiRows all(batch, static_cast<std::size_t>(N));
      const flightpath::CsiRows half(batch.data(), batch.size() / 2, static_cast<std::size_t>(N));
      flightpath::Ranger ranger(static_cast<std::uint32_t>(N), options);
      flightpath::PathSet out;
      ranger.estimate(all, out);
      const int before = allocations;
      ranger.estimate(all, out);
      EXPECT_EQ(allocations - before, 0) << "N " << N << ", forced " << forced;
      const int beforePart = allocations;
      ranger.estimate(half, out);
      EXPECT_EQ(allocations - beforePart, 0) << "half of it, N " << N << ", forced " << forced;
    }
  }
}

// EXACT: also where estimates share snapshots, where BLAS and LAPACK work, in double precision, and
// with a progress callback. 520 subcarriers have the rough factorisation.
TEST(RangerAllocation, NoneOnAnyWayThroughTheEstimator) {
  for (const int N : {64, 200, 520}) {
    for (const std::uint32_t S : {1U, 2U, 3U}) {
      const std::vector<creal32_T> single = rowsOf(N, 6);
      std::vector<std::complex<double>> twice;
      for (const creal32_T z : single) {
        twice.emplace_back(static_cast<double>(z.re), static_cast<double>(z.im));
      }
      const flightpath::CsiRows ofSingle(single, static_cast<std::size_t>(N));
      const flightpath::CsiRows ofDouble(twice, static_cast<std::size_t>(N));
      const flightpath::Progress progress = [](std::size_t, std::size_t) { return true; };
      flightpath::Ranger ranger(static_cast<std::uint32_t>(N), withSnapshots(S));
      flightpath::PathSet out;
      ranger.estimate(ofSingle, out);
      const int before = allocations;
      ranger.estimate(ofSingle, out);
      EXPECT_EQ(allocations - before, 0) << N << ", " << S << " snapshots";
      ranger.estimate(ofDouble, out);
      EXPECT_EQ(allocations - before, 0) << N << ", " << S << " snapshots, double precision";
      ranger.estimate(ofSingle, out, progress);
      EXPECT_EQ(allocations - before, 0) << N << ", " << S << " snapshots, with progress";
    }
  }
}

// EXACT: a fit has all of its work space from the construction on, intervals too.
TEST(RangerAllocation, NoneByMaximumLikelihood) {
  std::vector<int> blocks;
  for (int t = 0; t < 40; ++t) {
    blocks.push_back(t < 20 ? t : t + 20);  // every way through the search
  }
  for (const int N : {1, 7, 40}) {
    for (const int forced : {-1, 0, 5}) {
      for (const bool hasGaps : {false, true}) {
        flightpath::RangingOptions options;
        options.SubcarrierSpacing = spacing_Hz;
        options.IntervalLevel = 0.95;
        if (forced >= 0) {
          options.NumPaths = static_cast<std::uint32_t>(forced);
        }
        if (hasGaps) {
          options.Tones.assign(blocks.begin(), blocks.begin() + N);
        }
        const std::vector<creal32_T> batch = mixedBatch(N);
        flightpath::Ranger ranger(static_cast<std::uint32_t>(N), options);
        flightpath::PathSet out;
        ranger.estimate({batch, static_cast<std::size_t>(N)}, out);
        const int before = allocations;
        ranger.estimate({batch, static_cast<std::size_t>(N)}, out);
        EXPECT_EQ(allocations - before, 0) << "N " << N << ", forced " << forced;
      }
    }
  }
}

// EXACT: corrections have their place from the construction on, and copies of a calibration share it.
TEST(RangerAllocation, NoneWithACalibration) {
  constexpr std::size_t N = 64;
  std::vector<std::complex<double>> reference(N, {0.5, 0.25});
  reference[20] = 0.0;
  flightpath::RangingOptions options;
  options.SubcarrierSpacing = spacing_Hz;
  options.Calibration = flightpath::Calibration::measure(reference, spacing_Hz, 0.0);
  ASSERT_EQ(options.Calibration.missingTones().size(), 1U);
  const std::vector<creal32_T> batch = mixedBatch(N);
  flightpath::Ranger ranger(N, options);
  flightpath::PathSet out;
  ranger.estimate({batch, N}, out);
  const int before = allocations;
  ranger.estimate({batch, N}, out);
  EXPECT_EQ(allocations - before, 0);
  const flightpath::Calibration copy = options.Calibration;
  EXPECT_EQ(allocations - before, 0);
  EXPECT_FALSE(copy.empty());
}
