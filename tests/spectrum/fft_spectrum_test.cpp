#include "flightpath/spectrum/fft_spectrum.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <new>
#include <stdexcept>
#include <vector>

#include "flightpath/runtime/nonfinite.h"
#include "flightpath/spectrum/estimator.h"
#include "flightpath/spectrum/fir_response.h"
#include "tests/support/builders.h"
#include "tests/support/call_counter.h"
#include "tests/support/dft_model.h"
#include "tests/support/same_bits.h"

using support::callCounts;
using support::column;
using support::matrix;
using support::sameBits;

namespace {

using Subspace = coder::array<creal32_T, 2>;
using Column = coder::array<float, 1>;

struct Result {
  Subspace U;
  Column spectrum;
  Column freqs;
  Subspace energies;
};

Result evaluate(MUSICLib& obj, const Subspace& U, float n) {
  Result r;
  r.U = U;
  evaluatePseudoSpectrumFFT(&obj, r.U, r.spectrum, r.freqs, r.energies, n);
  return r;
}

Result evaluate(const Subspace& U, float n) {
  MUSICLib obj;
  return evaluate(obj, U, n);
}

Subspace subspace(int M, int K, std::initializer_list<creal32_T> values) {
  return matrix(M, K, std::vector<creal32_T>(values));
}

Subspace orthonormal(int M, int K, unsigned seed) {
  return matrix(
      M, K,
      support::orthonormalColumns(static_cast<std::size_t>(M), static_cast<std::size_t>(K), seed));
}

Subspace noColumns(int M) { return matrix(M, 0, std::vector<creal32_T>()); }

Subspace conjugate(Subspace U) {
  for (creal32_T& z : U) {
    z.im = -z.im;
  }
  return U;
}

/// The first unit vector of length M: its response is 1 everywhere.
Subspace firstUnitVector(int M) {
  Subspace U;
  U.set_size(M, 1);
  U[0] = {1.0F, 0.0F};
  return U;
}

/// Position of bin j in a centred result of n values.
int centred(int bin, int n) { return (bin + n / 2) % n; }

/// The axis of n whole points: the angles, exact around pi and at the end, as cycles, centred.
std::vector<float> expectedAxis(int n) {
  const double twoPi = 6.283185307179586;
  const double last = twoPi - twoPi / n;
  std::vector<float> axis(static_cast<std::size_t>(n));
  for (int bin = 0; bin < n; ++bin) {
    double w = bin * (last / (n - 1));
    if (bin == 0) {
      w = 0.0;
    }
    if (2 * bin == n) {
      w = 3.141592653589793;
    } else if (2 * bin == n - 1) {
      w = 3.141592653589793 - twoPi / (2.0 * n);
    } else if (2 * bin == n + 1) {
      w = 3.141592653589793 + twoPi / (2.0 * n);
    }
    if (bin == n - 1) {
      w = last;
    }
    const int position = centred(bin, n);
    const float cycles = static_cast<float>(w) / 6.2831855F;
    axis[static_cast<std::size_t>(position)] = position < n / 2 ? cycles - 1.0F : cycles;
  }
  return axis;
}

}  // namespace

// EXACT: |H| = 1 in every bin, so 1 / (4 - 1).
TEST(FftSpectrum, OfTheFirstUnitVectorIsFlat) {
  const Result r = evaluate(firstUnitVector(4), 8.0F);
  EXPECT_TRUE(sameBits(r.spectrum, column(std::vector<float>(8, 1.0F / 3.0F))));
  EXPECT_TRUE(sameBits(r.energies, matrix(8, 1, std::vector<creal32_T>(8, {1.0F, 0.0F}))));
}

// BOUND: rounding of w, of 2 pi, of the quotient and of the difference, below 2 eps in all.
TEST(FftSpectrumAxis, HasTheValuesOfTheCentredGrid) {
  const std::vector<std::vector<double>> axes = {
      {0.0},
      {-0.5, 0.0},
      {-0.4, -0.2, 0.0, 0.2, 0.4},
      {-0.5, -0.375, -0.25, -0.125, 0.0, 0.125, 0.25, 0.375},
  };
  for (const std::vector<double>& axis : axes) {
    const Result r = evaluate(firstUnitVector(2), static_cast<float>(axis.size()));
    ASSERT_EQ(r.freqs.numel, static_cast<int>(axis.size()));
    for (std::size_t j = 0; j < axis.size(); ++j) {
      EXPECT_NEAR(r.freqs[static_cast<int>(j)], axis[j], 2.0 * support::floatEps)
          << "point " << j << " of " << axis.size();
    }
  }
}

// EXACT: the angles pi and 0 are.
TEST(FftSpectrumAxis, OfAnEvenLengthStartsAtMinusOneHalfAndMeetsZero) {
  for (int n = 2; n <= 512; n += 2) {
    const Result r = evaluate(noColumns(3), static_cast<float>(n));
    EXPECT_TRUE(sameBits(r.freqs[0], -0.5F)) << n;
    EXPECT_TRUE(sameBits(r.freqs[n / 2], 0.0F)) << n;
  }
}

// EXACT: angles in double as stated, then one rounding an operation.
TEST(FftSpectrumAxis, FollowsItsFormulaAndAscends) {
  for (int n = 1; n <= 400; ++n) {
    const Result r = evaluate(noColumns(3), static_cast<float>(n));
    EXPECT_TRUE(sameBits(r.freqs, column(expectedAxis(n)))) << n;
    for (int j = 1; j < n; ++j) {
      EXPECT_LT(r.freqs[j - 1], r.freqs[j]) << n;
    }
  }
}

// EXACT: small integers. The only energy, 16, lies in bin 1, frequency 1/4.
TEST(FftSpectrum, IsCentredWithItsAxisWhileEnergiesAreNot) {
  const Subspace U = subspace(4, 1, {{1, 0}, {0, -1}, {-1, 0}, {0, 1}});  // exp(-i 2 pi m / 4)
  const Result r = evaluate(U, 4.0F);
  for (int bin = 0; bin < 4; ++bin) {
    EXPECT_EQ(r.energies[bin].re, bin == 1 ? 16.0F : 0.0F) << bin;
    EXPECT_EQ(r.energies[bin].im, 0.0F) << bin;
  }
  EXPECT_TRUE(sameBits(r.spectrum, column({0.25F, 0.25F, 0.25F, 1.0F / 12.0F})));
  EXPECT_NEAR(r.freqs[3], 0.25, 2.0 * support::floatEps);
}

// EXACT: halves and small integers.
TEST(FftSpectrum, IsInfiniteWhereTheSubspaceCapturesEverything) {
  const Subspace U = subspace(4, 1, {{0.5F, 0}, {0, -0.5F}, {-0.5F, 0}, {0, 0.5F}});
  EXPECT_TRUE(sameBits(evaluate(U, 4.0F).spectrum, column({0.25F, 0.25F, 0.25F, rtInfF})));
}

TEST(FftSpectrum, LeavesTheSubspaceConjugatedForTheCaller) {
  const Subspace U = subspace(2, 2, {{1, 2}, {-3, 0.0F}, {-0.0F, -0.0F}, {4, rtInfF}});
  for (const float n : {4.0F, 1.0F, 0.0F, -3.0F, rtNaNF}) {
    EXPECT_TRUE(sameBits(evaluate(U, n).U, conjugate(U))) << n << " points";
  }
  EXPECT_FALSE(sameBits(conjugate(U), U)) << "signs of zeros count";
}

TEST(FftSpectrum, OfNoColumnsIsOneOverTheRowCount) {
  for (const int M : {1, 3, 7, 1000}) {
    for (const int n : {1, 2, 5, 16}) {
      const support::CallCounts before = callCounts();
      const Result r = evaluate(noColumns(M), static_cast<float>(n));
      const std::vector<float> flat(static_cast<std::size_t>(n), 1.0F / static_cast<float>(M));
      EXPECT_TRUE(sameBits(r.spectrum, column(flat))) << M;
      EXPECT_TRUE(sameBits(r.freqs, column(expectedAxis(n)))) << M;
      EXPECT_EQ(r.energies.size[0], n);
      EXPECT_EQ(r.energies.size[1], 0);
      EXPECT_EQ(callCounts().fftPlans, before.fftPlans);
    }
  }
}

TEST(FftSpectrum, OfNoRowsIsInfinite) {
  for (const int K : {0, 1, 3}) {
    const support::CallCounts before = callCounts();
    const Result r = evaluate(matrix(0, K, std::vector<creal32_T>()), 4.0F);
    EXPECT_TRUE(sameBits(r.spectrum, column(std::vector<float>(4, rtInfF)))) << K;
    EXPECT_TRUE(sameBits(r.freqs, column(expectedAxis(4)))) << K;
    EXPECT_EQ(r.energies.numel, 4 * K);
    EXPECT_EQ(callCounts().fftPlans, before.fftPlans);
  }
}

TEST(FftSpectrum, OfNoPointsIsEmpty) {
  for (const float n : {0.0F, -0.0F, 0.5F, 0.99999F, -1.0F, -4.0F, -3.0e38F, rtMinusInfF, rtNaNF}) {
    for (const int K : {0, 2}) {
      MUSICLib obj;
      Result r;
      r.U = orthonormal(4, K, 1);
      r.spectrum = column({1.0F, 2.0F});
      r.freqs = column({1.0F, 2.0F});
      r.energies = orthonormal(3, 3, 2);
      const support::CallCounts before = callCounts();
      evaluatePseudoSpectrumFFT(&obj, r.U, r.spectrum, r.freqs, r.energies, n);
      EXPECT_EQ(r.spectrum.numel, 0) << n;
      EXPECT_EQ(r.freqs.numel, 0) << n;
      EXPECT_EQ(r.energies.size[0], 0) << n;
      EXPECT_EQ(r.energies.size[1], K) << n;
      EXPECT_EQ(callCounts().fftPlans, before.fftPlans) << n;
    }
  }
}

TEST(FftSpectrum, OfTooManyPointsIsALengthError) {
  const support::CallCounts before = callCounts();
  for (const float n : {16777218.0F, 2147483648.0F, std::numeric_limits<float>::max(), rtInfF}) {
    EXPECT_THROW(evaluate(firstUnitVector(4), n), std::length_error) << n;
    EXPECT_THROW(evaluate(noColumns(4), n), std::length_error) << n;
  }
  EXPECT_THROW(evaluate(matrix(1, 65536, std::vector<creal32_T>(65536)), 32768.0F),
               std::length_error)
      << "the product of points and columns";
  EXPECT_EQ(callCounts().fftPlans, before.fftPlans);
}

// EXACT: the transform sees whole points; the axis keeps the fraction, without exact points.
TEST(FftSpectrum, OfANonIntegralLengthTransformsItsWholePoints) {
  const Subspace U = orthonormal(4, 2, 3);
  const Result r = evaluate(U, 4.75F);
  const Result whole = evaluate(U, 4.0F);
  EXPECT_TRUE(sameBits(r.spectrum, whole.spectrum));
  EXPECT_TRUE(sameBits(r.energies, whole.energies));
  const double last = 6.283185307179586 - 6.283185307179586 / 4.75;
  const auto cycles = [](double w) { return static_cast<float>(w) / 6.2831855F; };
  EXPECT_TRUE(sameBits(r.freqs, column({cycles(2.0 * (last / 3.0)) - 1.0F, cycles(last) - 1.0F,
                                        0.0F, cycles(last / 3.0)})));
}

// BOUND: a response h is off by dh (see fftBound), so its energy by 2 |h| dh + dh^2 and, squared
// and added, by 2 eps of itself; energies are added in K sums of eps / 2. The reciprocal and the
// difference round once more. Compared as 1 / spectrum, which is finite where a point is captured.
TEST(FftSpectrum, AgreesWithThePlainProjection) {
  struct Row {
    int M;
    int K;
    int n;
  };
  unsigned seed = 20;
  for (const auto& [M, K, n] : {Row{4, 1, 8},
                                {4, 2, 4},
                                {8, 3, 256},
                                {16, 5, 64},
                                {64, 4, 1024},
                                {5, 2, 9},
                                {30, 7, 100},
                                {16, 3, 7},
                                {65, 6, 16},
                                {3, 1, 1}}) {
    const Subspace U = orthonormal(M, K, ++seed);
    const Result r = evaluate(U, static_cast<float>(n));
    ASSERT_EQ(r.spectrum.numel, n);
    const auto count = static_cast<std::size_t>(n);
    std::vector<double> captured(count);
    std::vector<double> bound(count);
    for (int k = 0; k < K; ++k) {
      const Subspace conjugated = conjugate(U);
      const std::span<const creal32_T> taps(&conjugated(0, k), static_cast<std::size_t>(M));
      const std::vector<support::Complex> h = support::dft(taps, count);
      const double dh = support::fftBound(taps, count);
      for (std::size_t j = 0; j < count; ++j) {
        const double energy = std::norm(h[j]);
        const double dEnergy =
            2.0 * std::abs(h[j]) * dh + dh * dh + 2.0 * support::floatEps * energy;
        EXPECT_NEAR(r.energies(static_cast<int>(j), k).re, energy, dEnergy);
        captured[j] += energy;
        bound[j] += dEnergy;
      }
    }
    for (std::size_t j = 0; j < count; ++j) {
      const double value = r.spectrum[centred(static_cast<int>(j), n)];
      const double rounding = support::floatEps * (0.5 * K * captured[j] + 2.0 * M);
      EXPECT_NEAR(1.0 / value, std::abs(M - captured[j]), bound[j] + rounding)
          << M << " x " << K << ", bin " << j << " of " << n;
    }
  }
}

// EXACT: the response of the conjugated column, squared as re^2 + im^2.
TEST(FftSpectrum, EnergiesAreSquaredResponses) {
  for (const int n : {8, 13, 64}) {
    MUSICLib obj;
    const Subspace U = orthonormal(13, 3, 40);
    const Result r = evaluate(obj, U, static_cast<float>(n));
    for (int k = 0; k < 3; ++k) {
      const std::span<const creal32_T> taps(&r.U(0, k), 13);
      coder::array<creal32_T, 1> h;
      coder::firfreqz(&obj, column(taps), n, h);
      for (int j = 0; j < n; ++j) {
        EXPECT_TRUE(sameBits(r.energies(j, k), {h[j].re * h[j].re + h[j].im * h[j].im, 0.0F})) << n;
      }
    }
  }
}

// EXACT: energies added column after column, one difference, one reciprocal.
TEST(FftSpectrum, ComesFromTheEnergiesInColumnOrder) {
  constexpr int n = 64;
  const Result r = evaluate(orthonormal(16, 9, 50), n);
  int toldApart = 0;
  for (int j = 0; j < n; ++j) {
    float captured = 0.0F;
    float backward = 0.0F;
    for (int k = 0; k < 9; ++k) {
      captured += r.energies(j, k).re;
      backward += r.energies(j, 8 - k).re;
    }
    EXPECT_TRUE(sameBits(r.spectrum[centred(j, n)], 1.0F / std::fabs(16.0F - captured))) << j;
    toldApart += captured != backward ? 1 : 0;
  }
  EXPECT_GT(toldApart, 0) << "the values must tell orders apart";
}

TEST(FftSpectrum, NonFiniteElementsGiveNaN) {
  for (const float bad : {rtNaNF, rtInfF}) {
    const Result r = evaluate(subspace(2, 1, {{1.0F, 0.0F}, {bad, bad}}), 4.0F);
    for (int j = 0; j < 4; ++j) {
      EXPECT_TRUE(std::isnan(r.energies[j].im)) << bad;
      EXPECT_TRUE(std::isnan(r.spectrum[j])) << bad;
      EXPECT_TRUE(std::isfinite(r.freqs[j])) << bad;
    }
  }
}

TEST(FftSpectrum, PlansOnceForAllColumnsAndCalls) {
  MUSICLib obj;
  const support::CallCounts before = callCounts();
  for (int call = 1; call <= 3; ++call) {
    evaluate(obj, orthonormal(8, 3, 60), 32.0F);
    EXPECT_EQ(callCounts().fftPlans - before.fftPlans, 1);
    EXPECT_EQ(callCounts().fftExecutions - before.fftExecutions, 3 * call) << "one FFT a column";
  }
}

TEST(FftSpectrum, OutputsMayHoldAnythingBefore) {
  MUSICLib obj;
  const Subspace U = orthonormal(8, 3, 70);
  const Result expected = evaluate(obj, U, 16.0F);
  Result used = evaluate(obj, orthonormal(9, 5, 71), 64.0F);
  used.U = U;
  evaluatePseudoSpectrumFFT(&obj, used.U, used.spectrum, used.freqs, used.energies, 16.0F);
  EXPECT_TRUE(sameBits(used.spectrum, expected.spectrum));
  EXPECT_TRUE(sameBits(used.freqs, expected.freqs));
  EXPECT_TRUE(sameBits(used.energies, expected.energies));
}

TEST(FftSpectrum, RefusingPlannerIsBadAlloc_TheObjectStaysUsable) {
  MUSICLib obj;
  const Subspace U = orthonormal(8, 3, 80);
  {
    const support::RefusingPlanner refusing;
    EXPECT_THROW(evaluate(obj, U, 16.0F), std::bad_alloc);
  }
  EXPECT_TRUE(sameBits(evaluate(obj, U, 16.0F).spectrum, evaluate(U, 16.0F).spectrum));
}
