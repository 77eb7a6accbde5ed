#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"
#include "flightpath/spectrum/detail/double_transform.h"

namespace flightpath {

/// How an autocorrelation is made: by its sums, O(L^2), the same bits on every machine; or by two transforms.
enum class Autocorrelation { Direct, ByTransforms };

/// The energy that the signal subspace captures of a steering vector, as a polynomial.
///
///   S(f) = sum over k of |sum over m of e_k(m) exp(i 2 pi m f)|^2
///        = r(0) + 2 Re sum over d = 1 ... L - 1 of r(d) exp(i 2 pi d f)
///
/// r is the sum of the autocorrelations of the eigenvectors, in double: near a path M - S is a small
/// difference of large numbers.
///
/// On the fine grid, f + offset with |offset| at most a few hundredths of 1 / L, the polynomial is its
/// Taylor series, whose few terms cost far less than all L coefficients at every point:
///
///   S(f + offset) = r(0) + sum over p of t(p) u^p,  u = 2 pi L offset
///   t(p) = 2 Re (i^p sum over d of (d / L)^p / p! r(d) exp(i 2 pi d f))
class SignalPolynomial {
 public:
  /// offsets  those of the fine grid, finite
  ///
  /// Errors: std::bad_alloc.
  SignalPolynomial(int L, std::span<const float> offsets,
                   Autocorrelation autocorrelation = Autocorrelation::Direct);

  void clear();

  /// Adds the autocorrelation of one eigenvector.
  void add(std::span<const double> re, std::span<const double> im);

  /// The half-complex input of an inverse FFT of length n that gives S at j / n, j = 0 ... n - 1:
  /// r(0) ... r(L - 1), then zeros; n / 2 + 1 values.
  void toSpectrum(std::span<creal32_T> half) const;

  /// M - S at f plus each of the offsets, M the subspaces' dimension L; as many values as offsets.
  std::span<const double> noiseEnergy(double f);

 private:
  double taylorCoefficient(std::size_t p) const;
  void addByTransforms(std::span<const double> re, std::span<const double> im);

  std::vector<double> re_, im_;                // r
  std::vector<double> shiftedRe_, shiftedIm_;  // r(d) exp(i 2 pi d f)
  std::vector<double> u_;
  std::vector<double>
      weights_;  // 2 (d / L)^p / p!, with the sign that i^p gives; one row per power
  std::size_t terms_ = 0;
  std::vector<double> energy_;
  std::unique_ptr<DoubleTransform> transform_;  // of 2 L points, where lags do not wrap round
};

}  // namespace flightpath
