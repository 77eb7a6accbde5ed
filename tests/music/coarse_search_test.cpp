#include "flightpath/music/detail/coarse_search.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <string>
#include <vector>

#include "flightpath/runtime/nonfinite.h"
#include "flightpath/spectrum/estimator.h"
#include "flightpath/spectrum/fft_spectrum.h"
#include "tests/support/builders.h"
#include "tests/support/call_counter.h"
#include "tests/support/same_bits.h"

using coder::array;
using support::column;
using support::sameBits;

namespace {

/// Paths at (j + 0.3) / M have orthogonal responses: they are a signal subspace as they stand.
float pathFrequency(int j, int M) { return (static_cast<float>(j) + 0.3F) / static_cast<float>(M); }

array<creal32_T, 2> subspaceOf(const std::vector<int>& paths, int M) {
  array<creal32_T, 2> U;
  U.set_size(M, static_cast<int>(paths.size()));
  for (int k = 0; k < U.size[1]; ++k) {
    const double f = pathFrequency(paths[static_cast<std::size_t>(k)], M);
    for (int m = 0; m < M; ++m) {
      U(m, k) = {static_cast<float>(std::cos(6.283185307179586 * m * f) / std::sqrt(M)),
                 static_cast<float>(-std::sin(6.283185307179586 * m * f) / std::sqrt(M))};
    }
  }
  return U;
}

array<float, 1> search(array<creal32_T, 2>& U, float numSignals, float resolution) {
  MUSICLib obj;
  array<float, 1> work;
  array<float, 1> found = column({9.0F, 9.0F, 9.0F});
  flightpath::coarseFrequencies(&obj, U, numSignals, resolution, work, found);
  return found;
}

constexpr float step = 0x1p-9F;

}  // namespace

// EXACT: log10f of powers of ten within a float is exact, and the rest are its special values.
TEST(ToDecibels, IsTwentyTimesTheDecimalLogarithm) {
  array<float, 1> y = column({1.0F, 10.0F, 100.0F, 0.0F, rtInfF, -1.0F, rtNaNF});
  flightpath::toDecibels(y);
  EXPECT_TRUE(sameBits(y, column({0.0F, 20.0F, 40.0F, rtMinusInfF, rtInfF, rtNaNF, rtNaNF})));
}

// BOUND where a root is involved: 2 eps of the value; EXACT otherwise.
TEST(PeakThreshold, IsMeanPlusSampleDeviation) {
  struct Row {
    std::vector<float> y;
    double expected;
    const char* why;
  };
  const Row rows[] = {
      {{}, rtNaN, "0 / 0"},
      {{-7.0F}, -7.0, "one value deviates by nothing"},
      {{rtInfF}, rtNaN, "one infinite value"},
      {{rtMinusInfF}, rtNaN, "one infinite value"},
      {{rtNaNF}, rtNaN, "one NaN"},
      {{1.0F, 3.0F}, 2.0 + std::sqrt(2.0), "n - 1 = 1 in the denominator"},
      {{0.0F, 0.0F, 0.0F, 4.0F}, 3.0, "1 + sqrt(12 / 3)"},
      {{5.0F, 5.0F, 5.0F}, 5.0, "flat"},
      {{1.0F, rtInfF}, rtNaN, "inf - inf"},
      {{1.0F, rtMinusInfF}, rtNaN, "the same below"},
      {{1.0F, rtNaNF, 2.0F}, rtNaN, "NaN"},
  };
  for (const Row& row : rows) {
    const float threshold = flightpath::spectrumThreshold(column(row.y));
    if (std::isnan(row.expected)) {
      EXPECT_TRUE(std::isnan(threshold)) << row.why << ": " << threshold;
    } else {
      EXPECT_NEAR(threshold, row.expected, 2.0 * 0x1p-23 * std::abs(row.expected)) << row.why;
    }
  }
}

TEST(PeakThreshold, TakesOneNormOfTwoValuesAndMore) {
  for (const int n : {0, 1, 2, 3}) {
    array<float, 1> y;
    y.set_size(n);
    const int before = support::callCounts().norms;
    flightpath::spectrumThreshold(y);
    EXPECT_EQ(support::callCounts().norms - before, n >= 2 ? 1 : 0) << n;
  }
}

// MODEL: noise-free paths stand at the grid point nearest to them, or the one beside it.
TEST(CoarseFrequencies, AreThePathsAscending) {
  array<creal32_T, 2> U = subspaceOf({3, -5, 0}, 16);
  const array<float, 1> found = search(U, 3.0F, step);
  ASSERT_EQ(found.numel, 3);
  EXPECT_NEAR(found[0], pathFrequency(-5, 16), step);
  EXPECT_NEAR(found[1], pathFrequency(0, 16), step);
  EXPECT_NEAR(found[2], pathFrequency(3, 16), step);
}

TEST(CoarseFrequencies, LieOnTheFFTGrid) {
  array<creal32_T, 2> U = subspaceOf({3, -5}, 16);
  for (const float f : search(U, 2.0F, step)) {
    EXPECT_NEAR(f / step, std::round(f / step), 0x1p-23 * 0.5 / step * 2.0)
        << "two roundings of a frequency of at most one half";
  }
}

TEST(CoarseFrequencies, AreTheLeftmostUpToTheCount) {
  struct Row {
    float numSignals;
    int expected;
    const char* why;
  };
  const Row rows[] = {
      {0.0F, 0, "none wanted"},   {-2.0F, 0, "negative"},
      {0.5F, 0, "below one"},     {1.0F, 1, "leftmost"},
      {2.0F, 2, "two leftmost"},  {2.9F, 2, "truncated"},
      {3.0F, 3, "all there are"}, {200.0F, 3, "no more than there are"},
      {rtInfF, 3, "no more"},     {rtNaNF, 3, "NaN keeps all"},
  };
  for (const Row& row : rows) {
    array<creal32_T, 2> U = subspaceOf({-5, 0, 3}, 16);
    const array<float, 1> found = search(U, row.numSignals, step);
    ASSERT_EQ(found.numel, row.expected) << row.why;
    for (int k = 0; k < found.numel; ++k) {
      EXPECT_NEAR(found[k], pathFrequency(k == 0 ? -5 : 3 * (k - 1), 16), step) << row.why;
    }
  }
}

TEST(CoarseFrequencies, FlatSpectrumOfAnEmptySubspaceHasNoPeak) {
  array<creal32_T, 2> U;
  U.set_size(16, 0);
  EXPECT_EQ(search(U, 3.0F, step).numel, 0);
}

TEST(CoarseFrequencies, NothingToSearchWithoutAResolution) {
  for (const float resolution : {rtNaNF, -1.0F, 2.0F, rtInfF}) {
    array<creal32_T, 2> U = subspaceOf({0}, 16);
    const int before = support::callCounts().fftExecutions;
    EXPECT_EQ(search(U, 1.0F, resolution).numel, 0) << resolution;
    EXPECT_EQ(support::callCounts().fftExecutions, before) << resolution;
  }
}

TEST(CoarseFrequencies, OneFFTForEverySignalEigenvector) {
  array<creal32_T, 2> U = subspaceOf({3, -5, 0}, 16);
  const support::CallCounts before = support::callCounts();
  search(U, 3.0F, step);
  EXPECT_EQ(support::callCounts().fftExecutions - before.fftExecutions, 3);
  EXPECT_EQ(support::callCounts().norms - before.norms, 1);
}

// EXACT: the path of frequency 0 over four samples is (1, 1, 1, 1) / 2, and all of a unit path's
// energy at the grid point 0 is captured: 1 / 0. Mean and deviation are then infinite and NaN; no
// side lobe passes a NaN threshold, and an infinite value needs none.
TEST(CoarseFrequencies, ExactZeroOnTheGrid_NaNThresholdKeepsTheInfinitePeakOnly) {
  const array<creal32_T, 2> path =
      support::matrix<creal32_T>(4, 1, {{0.5F, 0.0F}, {0.5F, 0.0F}, {0.5F, 0.0F}, {0.5F, 0.0F}});
  array<creal32_T, 2> U = path;
  array<float, 1> spectrum;
  array<float, 1> axis;
  array<creal32_T, 2> energies;
  MUSICLib obj;
  evaluatePseudoSpectrumFFT(&obj, U, spectrum, axis, energies, 64.0F);
  flightpath::toDecibels(spectrum);
  EXPECT_EQ(spectrum[32], rtInfF);
  EXPECT_TRUE(std::isnan(flightpath::spectrumThreshold(spectrum)));
  U = path;
  EXPECT_TRUE(sameBits(search(U, 5.0F, 0x1p-6F), column({0.0F})));
}
