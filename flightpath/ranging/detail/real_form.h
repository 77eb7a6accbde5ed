#pragma once

#include <cstddef>
#include <numbers>
#include <span>

#include "flightpath/likelihood/complex_products.h"
#include "flightpath/ranging/detail/sample_block.h"

namespace flightpath {

/// A real symmetric matrix that has the non-zero eigenvalues of the smoothed covariance, up to a factor
/// that is the same for all, and from whose eigenvectors those of the covariance follow.
///
/// Source: A. Lee, Centrohermitian and skew-centrohermitian matrices, Linear Algebra Appl. 29, 1980.
class RealForm {
 public:
  virtual ~RealForm() = default;

  /// Forms the matrix for these samples.
  virtual void form(const SampleBlock& samples) = 0;

  virtual int order() const = 0;

  /// The length of the subvectors, and of the covariance's eigenvectors.
  virtual int L() const = 0;

  /// order x order.
  virtual std::span<const double> matrix() const = 0;

  /// The eigenvector of the covariance that belongs to one of the matrix.
  ///
  /// v       the unit eigenvector of the matrix
  /// value   its eigenvalue, above 0
  /// re, im  (out) L elements
  virtual void eigenvector(std::span<const double> v, double value, std::span<double> re,
                           std::span<double> im) const = 0;

 protected:
  RealForm() = default;
  RealForm(const RealForm&) = default;
  RealForm& operator=(const RealForm&) = default;
};

/// The blocks of a centro-Hermitian matrix: A Hermitian and B symmetric, h x h, row-major, of which the
/// elements j >= i of row i count.
struct CentroBlocks {
  std::span<const double> Ar, Ai, Br, Bi;
};

/// A centro-Hermitian vector e, e(m) = conj(e(L - 1 - m)), and its L real coordinates
///
///   v = [sqrt(2) Re e(0 ... h - 1); (e(h) for odd L); sqrt(2) Im e(0 ... h - 1)],   h = floor(L / 2)
///
/// which have the same norm.
///
/// put(m, re, im) takes element m of e.
template <class Put>
void fromRealForm(std::span<const double> v, Put put) {
  const std::size_t L = v.size();
  const std::size_t h = L / 2;
  for (std::size_t m = 0; m < h; ++m) {
    const double p = v[m] * (1.0 / std::numbers::sqrt2);
    const double q = v[L - h + m] * (1.0 / std::numbers::sqrt2);
    put(m, p, q);
    put(L - 1 - m, p, -q);
  }
  if (L % 2 == 1) {
    put(h, v[h], 0.0);
  }
}

/// From the first half of e.
void toRealForm(std::span<const Complex> e, std::span<double> v);

/// C := [Re A + Re B, -Im A + Im B; Im A + Im B, Re A - Re B], the 2h x 2h real form of
/// [A, B; conj(B), conj(A)], in the corners of a matrix of `order` >= 2h: rows and columns 0 ... h - 1
/// and order - h ... order - 1.
void assembleRealForm(const CentroBlocks& blocks, std::size_t h, std::size_t order,
                      std::span<double> C);

}  // namespace flightpath
