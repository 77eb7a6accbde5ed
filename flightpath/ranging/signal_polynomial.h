#pragma once

#include <complex>
#include <span>
#include <vector>

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"

namespace flightpath {

/// The energy that the signal subspace captures of a steering vector, as a polynomial.
///
///   S(f) = sum over k of |sum over m of e_k(m) exp(i 2 pi m f)|^2
///        = r(0) + 2 Re sum over d = 1 ... L - 1 of r(d) exp(i 2 pi d f)
///
/// r is the sum of the autocorrelations of the eigenvectors, in double: near a path M - S is a small
/// difference of large numbers.
class SignalPolynomial {
 public:
  explicit SignalPolynomial(int L);

  void clear();

  /// Adds the autocorrelation of one eigenvector.
  void add(std::span<const double> re, std::span<const double> im);

  /// The half-complex input of an inverse FFT of length n that gives S at j / n, j = 0 ... n - 1:
  /// r(0) ... r(L - 1), then zeros; n / 2 + 1 values.
  void toSpectrum(std::span<creal32_T> half) const;

  /// M - S at every point exp(i 2 pi f) of the unit circle, M the subspaces' dimension L.
  void noiseEnergy(std::span<const double> pointsRe, std::span<const double> pointsIm,
                   std::span<double> energy) const;

 private:
  std::vector<double> re_;
  std::vector<double> im_;
};

}  // namespace flightpath
