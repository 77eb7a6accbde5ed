#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "flightpath/api/music_parameters.h"
#include "flightpath/music/music_result.h"
#include "flightpath/spectrum/estimator.h"
#include "tests/support/channels.h"
#include "tests/support/reference_estimator.h"

// The whole estimator against the double-precision model, on the samples that both read.
//
// MODEL. Float and double see the same subspaces up to rounding, which moves a spectrum's maximum
// by some 1e-6 of its width 1/N, while a fine step is 1/(1500 N). What may differ is the grid: a
// coarse maximum between two bins may fall to either of them, and 100 fine points stand elsewhere
// than 101. The two nearest points to one maximum are then at most a step apart, so one step (and
// the rounding of a frequency to float) is the tolerance for the paths, and one bin for the coarse
// peaks. Whether a coarse peak passes the threshold is a yes or no that rounding may tip: cases
// with a peak closer than half a decibel to the threshold are left out, and few may be.

using coder::array;

namespace {

struct Case {
  int N = 0;
  array<creal32_T, 1> x;
  support::ReferenceSettings settings;
};

/// Sizes that take every small one, the block sizes around them and the largest.
std::vector<int> sweptSizes() {
  std::vector<int> sizes;
  for (int N = 1; N <= 260; N += N < 48 ? 1 : N < 100 ? 5 : 16) {
    sizes.push_back(N);
  }
  sizes.insert(sizes.end(), {127, 128, 129, 255, 256, 257, 260});
  return sizes;
}

/// Paths at least one beam width 1/L apart, off any grid, with unequal powers.
std::vector<support::Tone> randomTones(int numPaths, std::mt19937_64& random) {
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::vector<support::Tone> tones;
  for (int k = 0; k < numPaths; ++k) {
    const double slot = (k + 0.25 + 0.5 * unit(random)) / numPaths;
    tones.push_back({slot - 0.5, 0.7 + 0.6 * unit(random), 6.28 * unit(random)});
  }
  return tones;
}

Case makeCase(int N, int numPaths, double snr_dB, std::uint64_t seed) {
  std::mt19937_64 random(seed);
  Case c;
  c.N = N;
  c.x = support::measure(randomTones(numPaths, random), N, snr_dB, random);
  c.settings = support::referenceDefaults(N);
  c.settings.forcedCount = numPaths;
  c.settings.allowPhaseSlope = false;
  return c;
}

MUSICResult estimate(const Case& c) {
  const auto count = static_cast<float>(c.settings.forcedCount.value_or(0.0));
  const int extent = c.settings.forcedCount.has_value() ? 1 : 0;
  const int extents[] = {extent, extent};
  array<float, 2> grid;
  grid.set_size(1, static_cast<int>(c.settings.grid.size()));
  std::ranges::transform(c.settings.grid, grid.begin(),
                         [](double g) { return static_cast<float>(g); });
  MUSICParameters p;
  p.init(grid, &count, extents, c.settings.forceClassic ? 1 : 0, c.settings.allowPhaseSlope ? 1 : 0,
         c.settings.smooth ? 1 : 0, static_cast<float>(c.settings.coarseResolution),
         static_cast<float>(c.settings.fineResolution));
  MUSICLib obj;
  MUSICResult r;
  obj.MUSIC1D(c.x, &p, &r);
  return r;
}

support::ReferenceEstimate model(const Case& c) {
  return support::referenceEstimate(support::toDouble({c.x.begin(), c.x.end()}), c.settings);
}

/// The middle of every fine column: the coarse peak that it surrounds.
std::vector<double> coarsePeaks(const MUSICResult& r) {
  std::vector<double> peaks;
  const int K = r.NormalizedFreqs.numel;
  for (int k = 0; k < K; ++k) {
    const int rows = r.ScannedFreqs.numel / K;
    peaks.push_back(0.5 * (static_cast<double>(r.ScannedFreqs[k * rows]) +
                           static_cast<double>(r.ScannedFreqs[(k + 1) * rows - 1])));
  }
  return peaks;
}

constexpr double frequencyRounding = 0x1p-23;
constexpr double decisive_dB = 0.5;

/// Around a maximum the energy left is e + M (pi L d)^2 / 3 at a distance d. Half a fine step makes
/// the second part 2e-7 M, some per cent of what 20 dB of noise leave for e: a few tenths of a
/// decibel between two grids.
constexpr double peakTolerance_dB = 0.5;

void expectAgreement(const Case& c, const MUSICResult& r,
                     const support::ReferenceEstimate& expected) {
  ASSERT_EQ(r.NormalizedFreqs.numel, static_cast<int>(expected.freqs.size()));
  const double bin = std::exp2(std::round(std::log2(c.settings.coarseResolution)));
  const std::vector<double> coarse = coarsePeaks(r);
  for (std::size_t k = 0; k < expected.freqs.size(); ++k) {
    const int i = static_cast<int>(k);
    EXPECT_NEAR(coarse[k], expected.coarse[k], bin + frequencyRounding) << "coarse peak " << k;
    EXPECT_NEAR(r.NormalizedFreqs[i], expected.freqs[k],
                c.settings.fineResolution + frequencyRounding)
        << "path " << k;
    EXPECT_NEAR(r.PeakValues[i], expected.peaks_dB[k], peakTolerance_dB) << "path " << k;
  }
}

}  // namespace

TEST(AgainstModel, FftRoute_OneToFourPathsOfAnySize) {
  int compared = 0;
  int undecided = 0;
  for (const int N : sweptSizes()) {
    for (int numPaths = 1; numPaths <= 4; ++numPaths) {
      if (N < 4 * numPaths || (N > 48 && numPaths != 1 + N % 4)) {
        continue;  // no room to resolve them, or enough of the large ones
      }
      const Case c = makeCase(N, numPaths, 20.0, static_cast<std::uint64_t>(10 * N + numPaths));
      const support::ReferenceEstimate expected = model(c);
      if (expected.thresholdMargin_dB < decisive_dB) {
        ++undecided;
        continue;
      }
      SCOPED_TRACE(testing::Message() << N << " samples, " << numPaths << " paths");
      expectAgreement(c, estimate(c), expected);
      ++compared;
    }
  }
  EXPECT_GE(compared, 150);
  EXPECT_LE(undecided, compared / 20);
}

// With as many signals as dimensions, or too few samples for them, the spectra are rounding noise:
// shapes are all that can be held to anything.
TEST(AgainstModel, FftRoute_TooFewSamplesForThePaths_StillDefined) {
  for (int N = 1; N <= 16; ++N) {
    for (int numPaths = 1; numPaths <= 4; ++numPaths) {
      const MUSICResult r = estimate(makeCase(N, numPaths, 20.0, 1));
      EXPECT_EQ(r.NumSignals, static_cast<float>(numPaths));
      EXPECT_LE(r.NormalizedFreqs.numel, numPaths);
      EXPECT_EQ(r.PeakValues.numel, r.NormalizedFreqs.numel);
    }
  }
}

TEST(AgainstModel, FftRoute_WithTheCountThatBothEstimate) {
  int compared = 0;
  for (int N = 1; N <= 100; N += N < 48 ? 1 : 7) {
    Case c = makeCase(N, 1 + N % 4, 25.0, static_cast<std::uint64_t>(N));
    c.settings.forcedCount.reset();
    const support::ReferenceEstimate expected = model(c);
    const MUSICResult r = estimate(c);
    if (static_cast<double>(r.NumSignals) == expected.numSignals &&
        expected.thresholdMargin_dB >= decisive_dB) {
      SCOPED_TRACE(testing::Message() << N << " samples, " << r.NumSignals << " counted");
      expectAgreement(c, r, expected);
      ++compared;
    }
  }
  EXPECT_GE(compared, 40);
}

// A grid of its own for every size, so that the nearest points are not those of the even search.
TEST(AgainstModel, FftRouteOnGrid_TakesTheSamePoints) {
  int compared = 0;
  for (const int N : {16, 25, 33, 48, 64, 100}) {
    for (int numPaths = 1; numPaths <= 3; ++numPaths) {
      Case c = makeCase(N, numPaths, 20.0, static_cast<std::uint64_t>(N + numPaths));
      const int points = 211 * N;
      for (int k = 0; k < points; ++k) {
        c.settings.grid.push_back(
            static_cast<double>(static_cast<float>((k + 0.3) / points - 0.5)));
      }
      const support::ReferenceEstimate expected = model(c);
      if (expected.thresholdMargin_dB < decisive_dB) {
        continue;
      }
      const MUSICResult r = estimate(c);
      SCOPED_TRACE(testing::Message() << N << " samples, " << numPaths << " paths");
      ASSERT_EQ(r.NormalizedFreqs.numel, static_cast<int>(expected.freqs.size()));
      for (std::size_t k = 0; k < expected.freqs.size(); ++k) {
        EXPECT_NEAR(r.NormalizedFreqs[static_cast<int>(k)], expected.freqs[k],
                    1.0 / points + frequencyRounding);
      }
      ++compared;
    }
  }
  EXPECT_GE(compared, 14);
}

// The classic search has no threshold to tip. Points are a fraction of a beam width apart, so that
// neighbours of a maximum differ clearly; side peaks are kept out by asking for the paths only.
TEST(AgainstModel, ClassicRoute_TakesTheSamePointsInTheSameOrder) {
  for (const int N : {12, 16, 25, 33, 48, 64}) {
    for (int numPaths = 1; numPaths <= 3; ++numPaths) {
      Case c = makeCase(N, numPaths, 20.0, static_cast<std::uint64_t>(7 * N + numPaths));
      c.settings.forceClassic = true;
      for (int k = 0; k < 40 * N; ++k) {
        c.settings.grid.push_back(
            static_cast<double>(static_cast<float>((k + 0.3) / (40 * N) - 0.5)));
      }
      const support::ReferenceEstimate expected = model(c);
      const MUSICResult r = estimate(c);
      SCOPED_TRACE(testing::Message() << N << " samples, " << numPaths << " paths");
      ASSERT_EQ(r.NormalizedFreqs.numel, static_cast<int>(expected.freqs.size()));
      for (std::size_t k = 0; k < expected.freqs.size(); ++k) {
        const int i = static_cast<int>(k);
        EXPECT_EQ(static_cast<double>(r.NormalizedFreqs[i]), expected.freqs[k]);
        EXPECT_NEAR(r.PeakValues[i], expected.peaks_dB[k], 0.1) << "0.1 dB is 1 % of an energy";
      }
    }
  }
}

// Without smoothing the covariance has rank one: its first eigenvector is the measurement itself.
TEST(AgainstModel, WithoutSmoothing_OnePathIsThePeakOfTheTransform) {
  for (const int N : {8, 20, 64, 130}) {
    Case c = makeCase(N, 1, 15.0, static_cast<std::uint64_t>(N));
    c.settings.smooth = false;
    const support::ReferenceEstimate expected = model(c);
    ASSERT_GE(expected.thresholdMargin_dB, decisive_dB);
    SCOPED_TRACE(testing::Message() << N << " samples");
    expectAgreement(c, estimate(c), expected);
  }
}

// BOUND: (N + 8) roundings of a turn, as for the closed form alone.
TEST(AgainstModel, PhaseSlopeRoute) {
  for (const int N : {2, 3, 10, 64, 260}) {
    Case c = makeCase(N, 1, 15.0, static_cast<std::uint64_t>(N));
    c.settings.allowPhaseSlope = true;
    EXPECT_NEAR(estimate(c).NormalizedFreqs[0], model(c).freqs[0], (N + 8) * 0x1p-24) << N;
  }
}

// A noise-free path on a grid point leaves no noise energy there, or next to none: one path comes
// out, whether the coarse peak is infinite (and the threshold NaN) or merely very high.
TEST(AgainstModel, PathOnTheGridWithoutNoiseIsFound) {
  std::mt19937_64 random(1);
  for (const int N : {8, 16, 48, 64}) {
    for (const double turn : {-0.25, -0.125, 0.0, 0.0625, 0.375}) {
      Case c = makeCase(N, 1, 20.0, 1);
      c.x = support::measure({{turn}}, N, support::noNoise, random);
      const MUSICResult r = estimate(c);
      ASSERT_EQ(r.NormalizedFreqs.numel, 1) << N << ", " << turn;
      EXPECT_NEAR(r.NormalizedFreqs[0], turn, c.settings.fineResolution + frequencyRounding)
          << N << ", " << turn;
    }
  }
}
