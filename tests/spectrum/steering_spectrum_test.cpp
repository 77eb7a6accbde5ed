#include "flightpath/spectrum/steering_spectrum.h"

#include <gtest/gtest.h>
#include <math.h>

#include <cmath>
#include <vector>

#include "flightpath/runtime/nonfinite.h"
#include "flightpath/toolbox/reductions.h"
#include "tests/support/builders.h"
#include "tests/support/call_counter.h"
#include "tests/support/dft_model.h"
#include "tests/support/same_bits.h"

using support::callCounts;
using support::column;
using support::matrix;
using support::row;
using support::sameBits;

namespace {

using Subspace = coder::array<creal32_T, 2>;
using Spectrum = coder::array<float, 1>;

Spectrum spectrumOf(const Subspace& noise, const std::vector<float>& freqs) {
  Spectrum spectrum;
  evaluatePseudoSpectrum(noise, row(freqs), spectrum);
  return spectrum;
}

/// M x K orthonormal columns.
Subspace orthonormal(int M, int K, unsigned seed) {
  return matrix(
      M, K,
      support::orthonormalColumns(static_cast<std::size_t>(M), static_cast<std::size_t>(K), seed));
}

/// One element per column: every projection is the element itself, whatever the frequency.
Subspace oneSample(const std::vector<creal32_T>& elements) {
  return matrix(1, static_cast<int>(elements.size()), elements);
}

/// The decibels of a noise energy s, the operations in their order.
float decibels(float s) {
  const float reciprocal = 1.0F / s;
  const float shifted = reciprocal + 0x1p-52F;
  return 20.0F * ::log10f(shifted);
}

const std::vector<float> someFreqs = {0.0F, 0.25F, -0.25F, 0.123456F, -0.499F, 0.5F, -0.5F, 0.31F};

/// The pseudo-spectrum at one frequency in double, and how far single precision may lie from it.
struct Model {
  double value_dB;
  double bound_dB;
};

/// An element of a steering vector is off by eps times its phase and by eps; a product and M sums
/// add less than (M + 3) eps. So a projection y is off by at most
///   dy = sum over m of |e_m| (2 pi m |f| + M + 4) eps
/// and s by the sum of 2 |y| dy + dy^2, plus (K + 4) eps s for moduli, squares and the sums over K.
/// 20 log10(1 / s) passes a relative error on times 20 / ln 10; reciprocal, logarithm and product
/// round once more.
Model model(const Subspace& noise, float f) {
  const int M = noise.size[0];
  double s = 0.0;
  double ds = 0.0;
  for (int k = 0; k < noise.size[1]; ++k) {
    support::Complex y = 0.0;
    double dy = 0.0;
    for (int m = 0; m < M; ++m) {
      const support::Complex e = support::toDouble(noise(m, k));
      y += support::turn(-m * static_cast<double>(f)) * e;
      const double phase = 2.0 * std::numbers::pi * m * std::abs(static_cast<double>(f));
      dy += std::abs(e) * (phase + M + 4.0) * support::floatEps;
    }
    s += std::norm(y);
    ds += 2.0 * std::abs(y) * dy + dy * dy;
  }
  ds += (noise.size[1] + 4.0) * support::floatEps * s;
  EXPECT_LT(ds, 0.05 * s) << "the case must be well conditioned";
  const double perUnit_dB = 20.0 / std::numbers::ln10;
  const double value_dB = 20.0 * std::log10(1.0 / s + 0x1p-52);
  return {value_dB, perUnit_dB * (ds / (s - ds) + support::floatEps) +
                        2.0 * support::floatEps * std::abs(value_dB)};
}

}  // namespace

TEST(SteeringSpectrum, NothingToProjectMeansNoMatrixProduct) {
  struct Row {
    int M;
    int K;
    int F;
    const char* why;
  };
  const Row rows[] = {
      {4, 2, 0, "no frequency"},      {4, 0, 3, "no noise eigenvector"}, {0, 2, 3, "no sample"},
      {0, 0, 3, "an empty subspace"}, {0, 0, 0, "nothing at all"},
  };
  for (const Row& r : rows) {
    Subspace noise;
    noise.set_size(r.M, r.K);
    const int before = callCounts().matrixProducts;
    const Spectrum spectrum =
        spectrumOf(noise, std::vector<float>(static_cast<std::size_t>(r.F), 0.1F));
    EXPECT_EQ(callCounts().matrixProducts, before) << r.why;
    const std::vector<float> infinite(static_cast<std::size_t>(r.F), rtInfF);
    EXPECT_TRUE(sameBits(spectrum, column(infinite))) << r.why;
  }
}

TEST(SteeringSpectrum, TakesOneMatrixProductAndNoFFT) {
  const Subspace noise = orthonormal(8, 5, 1);
  const support::CallCounts before = callCounts();
  spectrumOf(noise, someFreqs);
  EXPECT_EQ(callCounts().matrixProducts, before.matrixProducts + 1);
  EXPECT_EQ(callCounts().fftPlans, before.fftPlans);
  EXPECT_EQ(callCounts().fftExecutions, before.fftExecutions);
}

// EXACT: the only non-zero sample has the steering element 1.
TEST(SteeringSpectrum, NoiseEnergyOfOneIsZeroDecibels) {
  Subspace noise;
  noise.set_size(4, 1);
  noise[0] = {1.0F, 0.0F};
  const Spectrum spectrum = spectrumOf(noise, someFreqs);
  for (int j = 0; j < spectrum.numel; ++j) {
    EXPECT_TRUE(sameBits(spectrum[j], 0.0F)) << j;
  }
}

// EXACT: with one sample s is the squared modulus, the same for every frequency.
TEST(SteeringSpectrum, DecibelsComeFromTheReciprocalPlusEpsilon) {
  struct Row {
    creal32_T element;
    float s;
    const char* why;
  };
  const Row rows[] = {
      {{0.5F, 0.0F}, 0.25F, "positive decibels"},
      {{0.0F, -2.0F}, 4.0F, "negative decibels"},
      {{3.0F, 4.0F}, 25.0F, "3, 4, 5"},
      {{1.0e10F, 0.0F}, 1.0e10F * 1.0e10F, "the reciprocal is lost in epsilon"},
      {{1.0e8F, 0.0F}, 1.0e8F * 1.0e8F, "the reciprocal is about epsilon"},
      {{1.0e30F, 0.0F}, rtInfF, "the square overflows: epsilon alone"},
      {{1.0e-17F, 0.0F}, 1.0e-17F * 1.0e-17F, "far below epsilon, which is not added to s"},
      {{1.0e-20F, 0.0F}, 1.0e-20F * 1.0e-20F, "the reciprocal overflows"},
      {{0.0F, 0.0F}, 0.0F, "orthogonal: +inf"},
      {{rtNaNF, 0.0F}, rtNaNF, "NaN"},
  };
  for (const Row& r : rows) {
    const Spectrum spectrum = spectrumOf(oneSample({r.element}), someFreqs);
    ASSERT_EQ(spectrum.numel, 8);
    for (int j = 0; j < spectrum.numel; ++j) {
      EXPECT_TRUE(sameBits(spectrum[j], decibels(r.s))) << r.why << ", frequency " << j;
    }
  }
}

// BOUND: -313.0712 dB is 20 log10(2^-52) by hand, four ulp of a value near 313.
TEST(SteeringSpectrum, EpsilonIsTheFloor) {
  EXPECT_NEAR(spectrumOf(oneSample({{1.0e30F, 0.0F}}), {0.1F})[0], -313.0712, 4 * 3.1e-5);
  EXPECT_EQ(spectrumOf(oneSample({{0.0F, 0.0F}}), {0.1F})[0], rtInfF);
}

// BOUND: see the model.
TEST(SteeringSpectrum, AgreesWithThePlainProjection) {
  struct Row {
    int M;
    int K;
  };
  unsigned seed = 10;
  for (const auto& [M, K] : {Row{2, 1}, {3, 2}, {8, 5}, {16, 13}, {33, 30}, {64, 63}}) {
    const Subspace noise = orthonormal(M, K, ++seed);
    const Spectrum spectrum = spectrumOf(noise, someFreqs);
    ASSERT_EQ(spectrum.numel, 8);
    for (int j = 0; j < 8; ++j) {
      const Model expected = model(noise, someFreqs[static_cast<std::size_t>(j)]);
      EXPECT_NEAR(spectrum[j], expected.value_dB, expected.bound_dB)
          << M << " x " << K << ", frequency " << j;
    }
  }
}

// BOUND: half a unit of the last digit of 20 log10(1 / 4); the other projection is 0 but for the
// rounding of cos(pi / 2), 4.4e-8, which is 294 dB.
TEST(SteeringSpectrum, TellsAFrequencyFromItsNegative) {
  const Subspace noise = matrix(2, 1, std::vector<creal32_T>{{1.0F, 0.0F}, {0.0F, 1.0F}});
  const Spectrum spectrum = spectrumOf(noise, {0.25F, -0.25F});
  EXPECT_NEAR(spectrum[0], -12.0412, 5e-5) << "s = 4";
  EXPECT_GT(spectrum[1], 280.0F) << "s of rounding errors";
}

// BOUND: both within the model's bound, the larger one from f + 1.
TEST(SteeringSpectrum, IsPeriodicInTheFrequency) {
  const Subspace noise = orthonormal(16, 13, 3);
  for (const float f : {0.0F, 0.125F, -0.375F, 0.4375F}) {  // f + 1 is exact
    const Spectrum spectrum = spectrumOf(noise, {f, f + 1.0F});
    EXPECT_NEAR(spectrum[0], spectrum[1], model(noise, f).bound_dB + model(noise, f + 1).bound_dB);
  }
}

TEST(SteeringSpectrum, NaNFrequencyMakesItsValueNaN_NoOther) {
  const Subspace noise = orthonormal(8, 5, 4);
  const Spectrum spectrum = spectrumOf(noise, {0.1F, rtNaNF, 0.2F, rtInfF, 0.3F});
  EXPECT_TRUE(std::isnan(spectrum[1]));
  EXPECT_TRUE(std::isnan(spectrum[3]));
  for (const int j : {0, 2, 4}) {
    EXPECT_TRUE(std::isfinite(spectrum[j])) << j;
  }
}

TEST(SteeringSpectrum, ColumnOverloadGivesTheSameBits) {
  for (const auto& noise : {orthonormal(8, 5, 5), orthonormal(1, 1, 6), Subspace()}) {
    Spectrum spectrum;
    evaluatePseudoSpectrum(noise, column(someFreqs), spectrum);
    EXPECT_TRUE(sameBits(spectrum, spectrumOf(noise, someFreqs)));
  }
  Spectrum none = column({1.0F});
  evaluatePseudoSpectrum(orthonormal(8, 5, 5), Spectrum(), none);
  EXPECT_EQ(none.numel, 0);
}

TEST(SteeringSpectrum, OfARowArgumentTheSecondExtentCounts) {
  const Subspace noise = orthonormal(8, 5, 7);
  Spectrum spectrum;
  evaluatePseudoSpectrum(noise, matrix(2, 2, std::vector<float>{0.1F, 0.2F, 0.3F, 0.4F}), spectrum);
  EXPECT_TRUE(sameBits(spectrum, spectrumOf(noise, {0.1F, 0.2F})));
  evaluatePseudoSpectrum(noise, matrix(0, 2, std::vector<float>()), spectrum);
  EXPECT_EQ(spectrum.numel, 0) << "columns without an element";
}

TEST(SteeringSpectrum, OutputMayHoldAnythingBefore_InputsStay) {
  const Subspace noise = orthonormal(8, 5, 8);
  const Subspace copy = noise;
  const coder::array<float, 2> freqs = row(someFreqs);
  Spectrum spectrum = column(std::vector<float>(100, 5.0F));
  evaluatePseudoSpectrum(noise, freqs, spectrum);
  EXPECT_TRUE(sameBits(spectrum, spectrumOf(noise, someFreqs)));
  EXPECT_TRUE(sameBits(noise, copy));
  EXPECT_TRUE(sameBits(freqs, row(someFreqs)));
}

// EXACT: 2^24 swallows single ones, but not the 1024 ones of a block of their own.
TEST(SteeringSpectrum, EnergiesAreAddedInBlocksOf1024) {
  std::vector<creal32_T> elements(2048, {1.0F, 0.0F});
  elements[0] = {4096.0F, 0.0F};
  EXPECT_TRUE(
      sameBits(spectrumOf(oneSample(elements), {0.1F})[0], decibels(16777216.0F + 1024.0F)));
  ASSERT_FALSE(sameBits(decibels(16777216.0F + 1024.0F), decibels(16777216.0F)));
}

// EXACT: integers; sums worked out by hand.
TEST(RowSums, GroupColumnsInBlocksOf1024) {
  struct Row {
    int cols;
    float afterLargeOne;  // of 2^24 followed by ones, where a sum to even drops a single one
    const char* why;
  };
  const Row rows[] = {
      {1, 16777216.0F, "one column"},
      {2, 16777216.0F, "one block"},
      {1023, 16777216.0F, "one short of a block"},
      {1024, 16777216.0F, "a whole block"},
      {1025, 16777216.0F, "a second block of one: still swallowed"},
      {1026, 16777218.0F, "a second block of two"},
      {2048, 16778240.0F, "two whole blocks"},
      {2049, 16778240.0F, "a third block of one: swallowed"},
      {2050, 16778242.0F, "a third block of two"},
  };
  for (const Row& r : rows) {
    coder::array<float, 2> x =
        matrix(2, r.cols, std::vector<float>(static_cast<std::size_t>(2 * r.cols), 1.0F));
    x(1, 0) = 16777216.0F;
    Spectrum y = column({7.0F, 7.0F, 7.0F});
    coder::sum(x, y);
    EXPECT_TRUE(sameBits(y, column({static_cast<float>(r.cols), r.afterLargeOne}))) << r.why;
  }
}

TEST(RowSums, OfNothingAreZeroOrNone) {
  Spectrum y = column({7.0F});
  coder::sum(matrix(3, 0, std::vector<float>()), y);
  EXPECT_TRUE(sameBits(y, column({0.0F, 0.0F, 0.0F}))) << "no columns";
  coder::sum(matrix(0, 3, std::vector<float>()), y);
  EXPECT_EQ(y.numel, 0) << "no rows";
  coder::sum(matrix(0, 2000, std::vector<float>()), y);
  EXPECT_EQ(y.numel, 0) << "no rows, two blocks";
}

TEST(RowSums, OfOneColumnKeepTheSignOfZero) {
  Spectrum y;
  coder::sum(matrix(2, 1, std::vector<float>{-0.0F, rtNaNF}), y);
  EXPECT_TRUE(sameBits(y, column({-0.0F, rtNaNF})));
}
