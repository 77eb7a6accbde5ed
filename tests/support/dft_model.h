#pragma once

#include <cmath>
#include <complex>
#include <cstddef>
#include <limits>
#include <numbers>
#include <random>
#include <span>
#include <vector>

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"

/// The transforms of the library in plain double-precision sums, and how far single precision may
/// stray from them.
namespace support {

using Complex = std::complex<double>;

constexpr double floatEps = std::numeric_limits<float>::epsilon();

inline Complex toDouble(creal32_T z) { return {z.re, z.im}; }

/// exp(sign * i 2 pi turns)
inline Complex turn(double turns) { return std::polar(1.0, 2.0 * std::numbers::pi * turns); }

/// h(k) = sum over m of b(m) exp(-i 2 pi k m / n) for k = 0 ... n - 1, any number of taps. The
/// product k m is reduced modulo n in integers, so that no phase grows large.
inline std::vector<Complex> dft(std::span<const creal32_T> taps, std::size_t n) {
  std::vector<Complex> h(n);
  for (std::size_t k = 0; k < n; ++k) {
    for (std::size_t m = 0; m < taps.size(); ++m) {
      const std::size_t reduced = (k * m) % n;
      h[k] += toDouble(taps[m]) * turn(-static_cast<double>(reduced) / static_cast<double>(n));
    }
  }
  return h;
}

inline double sumOfModuli(std::span<const creal32_T> taps) {
  double sum = 0.0;
  for (const creal32_T& tap : taps) {
    sum += std::abs(toDouble(tap));
  }
  return sum;
}

/// How far one value of a single-precision FFT of n points may lie from `dft`, the taps folded to n
/// first. No value exceeds scale = sum |b|. Each of the log2(n) stages (rounded up) costs a twiddle
/// factor (eps / 2), a complex product (sqrt(5) eps / 2) and a sum (eps / 2), together below
/// 3 eps; each folded block costs one more sum, eps / 2, as does the first stage of all.
inline double fftBound(std::span<const creal32_T> taps, std::size_t n) {
  const double stages = 1.0 + std::ceil(std::log2(static_cast<double>(n)));
  const double blocks = static_cast<double>(taps.size() / n);
  return (3.0 * stages + 0.5 * blocks) * floatEps * sumOfModuli(taps);
}

/// Random taps with both parts in -1 ... 1.
inline std::vector<creal32_T> randomTaps(std::size_t count, unsigned seed) {
  std::mt19937_64 engine(seed);
  std::uniform_real_distribution<float> uniform(-1.0F, 1.0F);
  std::vector<creal32_T> taps(count);
  for (creal32_T& tap : taps) {
    tap.re = uniform(engine);
    tap.im = uniform(engine);
  }
  return taps;
}

/// A view of `numel` elements from `data` on: it owns nothing.
inline coder::array<creal32_T, 1> columnView(creal32_T* data, int numel) {
  coder::array<creal32_T, 1> view;
  view.data = data;
  view.numel = numel;
  view.capacity = numel;
  view.size[0] = numel;
  return view;
}

/// K orthonormal columns of length M, M x K in storage order, from random ones by Gram and
/// Schmidt's method in double precision, then rounded.
inline std::vector<creal32_T> orthonormalColumns(std::size_t M, std::size_t K, unsigned seed) {
  const std::vector<creal32_T> random = randomTaps(M * K, seed);
  std::vector<Complex> columns(M * K);
  std::vector<creal32_T> rounded(M * K);
  for (std::size_t k = 0; k < K; ++k) {
    const std::span<Complex> column = std::span(columns).subspan(k * M, M);
    for (std::size_t m = 0; m < M; ++m) {
      column[m] = toDouble(random[k * M + m]);
    }
    for (std::size_t j = 0; j < k; ++j) {
      const std::span<const Complex> earlier = std::span(columns).subspan(j * M, M);
      Complex shared = 0.0;
      for (std::size_t m = 0; m < M; ++m) {
        shared += std::conj(earlier[m]) * column[m];
      }
      for (std::size_t m = 0; m < M; ++m) {
        column[m] -= shared * earlier[m];
      }
    }
    double energy = 0.0;
    for (const Complex& z : column) {
      energy += std::norm(z);
    }
    for (std::size_t m = 0; m < M; ++m) {
      column[m] /= std::sqrt(energy);
      rounded[k * M + m] = {static_cast<float>(column[m].real()),
                            static_cast<float>(column[m].imag())};
    }
  }
  return rounded;
}

}  // namespace support
