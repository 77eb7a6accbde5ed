// The fast loops of the library against the plainest form of the same formulas: element by element,
// with branches, temporaries and no thought of speed. Class EXACT throughout: whatever is done to a
// loop, these bits stay.

#include <gtest/gtest.h>
#include <math.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "flightpath/flightpath.h"
#include "flightpath/music/detail/covariance.h"
#include "flightpath/runtime/detail/complex_math.h"
#include "flightpath/toolbox/detail/blas.h"
#include "tests/support/builders.h"
#include "tests/support/same_bits.h"

namespace {

using coder::array;
using flightpath::blas::Transpose;
using support::sameBits;

std::vector<creal32_T> randomSamples(int n, std::uint64_t seed) {
  std::mt19937_64 random(seed);
  std::normal_distribution<float> normal;
  std::vector<creal32_T> samples;
  for (int k = 0; k < n; ++k) {
    const float re = normal(random);
    samples.push_back({re, normal(random)});
  }
  return samples;
}

float plainModulus(creal32_T z) {
  const float a = std::fabs(z.re);
  const float b = std::fabs(z.im);
  if (b < a) {
    return a * std::sqrt((b / a) * (b / a) + 1.0F);
  }
  if (b > a) {
    return b * std::sqrt((a / b) * (a / b) + 1.0F);
  }
  return std::isnan(b) ? rtNaNF : a * 1.4142135F;
}

creal32_T plainDivide(creal32_T z, float d) {
  if (z.im == 0.0F) {
    return {z.re / d, 0.0F};
  }
  if (z.re == 0.0F) {
    return {0.0F, z.im / d};
  }
  return {z.re / d, z.im / d};
}

/// (a + conj(b)) / 2, the halving as a product.
creal32_T plainAverage(creal32_T a, creal32_T b) {
  const creal32_T sum = {a.re + b.re, a.im - b.im};
  if (sum.im == 0.0F) {
    return {sum.re * 0.5F, 0.0F};
  }
  if (sum.re == 0.0F) {
    return {0.0F, sum.im * 0.5F};
  }
  return {sum.re * 0.5F, sum.im * 0.5F};
}

array<creal32_T, 2> plainSmoothing(const array<creal32_T, 1>& x) {
  const int N = x.numel;
  const int L = static_cast<int>(std::round(0.75 * N));
  const int K = N - L + 1;
  array<creal32_T, 2> X;
  X.set_size(L, K);
  for (int i = 0; i < L; ++i) {
    for (int j = 0; j < K; ++j) {
      X(i, j) = x[i + j];
    }
  }
  array<creal32_T, 2> R;
  R.set_size(L, L);
  flightpath::blas::multiply(L, L, K, {X.data, L, Transpose::None},
                             {X.data, L, Transpose::Conjugate}, R.data);
  for (creal32_T& r : R) {
    r = plainDivide(r, static_cast<float>(N - L) + 1.0F);
  }
  const array<creal32_T, 2> forward(R);
  for (int i = 0; i < L; ++i) {
    for (int j = 0; j < L; ++j) {
      R(i, j) = plainAverage(forward(i, j), forward(L - 1 - i, L - 1 - j));
    }
  }
  return R;
}

array<creal32_T, 2> plainHermitian(const array<creal32_T, 2>& R) {
  array<creal32_T, 2> A(R);
  for (int i = 0; i < R.size[0]; ++i) {
    for (int j = 0; j < R.size[1]; ++j) {
      A(i, j) = plainAverage(R(i, j), R(j, i));
    }
  }
  return A;
}

/// exp(i 2 pi k f), the exponent as a full complex product, then the exponential's four cases.
creal32_T plainSteering(int k, float f) {
  const auto a = static_cast<float>(0.0 * k);
  const auto b = static_cast<float>(6.283185307179586 * k);
  array<creal32_T, 2> z;
  z.set_size(1, 1);
  z[0] = {f * a - 0.0F * b, b * f + a * 0.0F};
  coder::b_exp(z);
  return z[0];
}

array<float, 1> plainSteeringSpectrum(const array<creal32_T, 2>& E, const array<float, 1>& f) {
  const int M = E.size[0];
  array<creal32_T, 2> A;
  A.set_size(M, f.numel);
  for (int j = 0; j < f.numel; ++j) {
    for (int k = 0; k < M; ++k) {
      A(k, j) = plainSteering(k, f[j]);
    }
  }
  array<creal32_T, 2> Y;
  Y.set_size(f.numel, E.size[1]);
  flightpath::blas::multiply(f.numel, E.size[1], M, {A.data, M, Transpose::Conjugate},
                             {E.data, M, Transpose::None}, Y.data);
  array<float, 1> spectrum;
  spectrum.set_size(f.numel);
  for (int j = 0; j < f.numel; ++j) {
    float s = rt_powf_snf(plainModulus(Y(j, 0)), 2.0F);
    for (int k = 1; k < E.size[1]; ++k) {
      s = s + rt_powf_snf(plainModulus(Y(j, k)), 2.0F);
    }
    spectrum[j] = 20.0F * ::log10f(1.0F / s + 2.220446e-16F);
  }
  return spectrum;
}

/// The linear pseudo-spectrum over one period, centred, from the eigenvectors in U.
array<float, 1> plainFFTSpectrum(MUSICLib& lib, const array<creal32_T, 2>& U, int n) {
  std::vector<creal32_T> total(static_cast<std::size_t>(n));
  for (int k = 0; k < U.size[1]; ++k) {
    array<creal32_T, 1> taps;
    array<creal32_T, 1> h;
    taps.set_size(U.size[0]);
    for (int m = 0; m < U.size[0]; ++m) {
      taps[m] = {U(m, k).re, -U(m, k).im};
    }
    coder::firfreqz(&lib, taps, n, h);
    for (int j = 0; j < n; ++j) {
      creal32_T& s = total[static_cast<std::size_t>(j)];
      s.re += h[j].re * h[j].re + h[j].im * h[j].im;
      s.im += h[j].im * h[j].re - h[j].re * h[j].im;
    }
  }
  array<float, 1> spectrum;
  spectrum.set_size(n);
  for (int j = 0; j < n; ++j) {
    const creal32_T s = total[static_cast<std::size_t>((j + n - n / 2) % n)];
    spectrum[j] = 1.0F / plainModulus({static_cast<float>(U.size[0]) - s.re, 0.0F - s.im});
  }
  return spectrum;
}

}  // namespace

TEST(PlainForms, ModulusChoosesAsItsBranchesDo) {
  const float tiny = std::numeric_limits<float>::denorm_min();
  const float huge = std::numeric_limits<float>::max();
  std::vector<float> values = {0.0F, -0.0F, 1.0F,   -1.0F,       3.0F,   tiny,   -tiny,
                               huge, -huge, rtInfF, rtMinusInfF, rtNaNF, 1e-20F, 1e20F};
  for (const creal32_T& z : randomSamples(40, 3)) {
    values.push_back(z.re * std::pow(10.0F, 15.0F * z.im));
  }
  for (const float re : values) {
    for (const float im : values) {
      EXPECT_TRUE(sameBits(flightpath::modulus({re, im}), plainModulus({re, im})))
          << re << ", " << im;
    }
  }
}

TEST(PlainForms, SmoothedCovarianceOfEverySize) {
  for (const int N : {1, 2, 3, 4, 5, 16, 31, 43, 44, 64, 85, 86, 130, 173}) {
    const auto x = support::column(randomSamples(N, static_cast<std::uint64_t>(N)));
    array<creal32_T, 2> R;
    measurementSmoothing(x, R);
    EXPECT_TRUE(sameBits(R, plainSmoothing(x))) << N;
    array<creal32_T, 2> A;
    flightpath::sampleCovariance(x, true, A);
    EXPECT_TRUE(sameBits(A, plainHermitian(plainSmoothing(x)))) << N;
  }
}

TEST(PlainForms, OuterProductCovarianceOfEverySize) {
  for (const int N : {1, 2, 31, 32, 33, 64, 65, 97}) {
    const auto x = support::column(randomSamples(N, static_cast<std::uint64_t>(N)));
    array<creal32_T, 2> outer;
    outer.set_size(N, N);
    for (int i = 0; i < N; ++i) {
      for (int j = 0; j < N; ++j) {
        outer(i, j) = {x[i].re * x[j].re + x[i].im * x[j].im,
                       x[i].im * x[j].re - x[i].re * x[j].im};
      }
    }
    array<creal32_T, 2> A;
    flightpath::sampleCovariance(x, false, A);
    EXPECT_TRUE(sameBits(A, plainHermitian(outer))) << N;
  }
}

TEST(PlainForms, SteeringSpectrumAtFiniteAndNonFiniteFrequencies) {
  for (const int M : {1, 2, 5, 48, 63}) {
    for (const int K : {1, 2, 45}) {
      const auto E = support::matrix(M, K, randomSamples(M * K, 7));
      std::vector<float> f = {0.0F, -0.0F, 0.25F, -0.5F, 1e30F, rtInfF, rtNaNF};
      for (int j = 0; j < 101; ++j) {
        f.push_back(static_cast<float>(j) * 0.00123F - 0.06F);
      }
      array<float, 1> spectrum;
      evaluatePseudoSpectrum(E, support::column(f), spectrum);
      EXPECT_TRUE(sameBits(spectrum, plainSteeringSpectrum(E, support::column(f))))
          << M << " " << K;
    }
  }
}

TEST(PlainForms, FFTSpectrumOfEveryShape) {
  MUSICLib lib;
  for (const int n : {2, 8, 64, 2048}) {
    for (const int M : {1, 5, 48}) {
      for (const int K : {0, 1, 3}) {
        const auto U = support::matrix(M, K, randomSamples(M * K, 11));
        array<creal32_T, 2> conjugated(U);
        array<float, 1> spectrum;
        array<float, 1> freqs;
        array<creal32_T, 2> energies;
        evaluatePseudoSpectrumFFT(&lib, conjugated, spectrum, freqs, energies,
                                  static_cast<float>(n));
        EXPECT_TRUE(sameBits(spectrum, plainFFTSpectrum(lib, U, n))) << n << " " << M << " " << K;
      }
    }
  }
}
