#pragma once

#include <span>
#include <vector>

#include "flightpath/likelihood/complex_products.h"
#include "flightpath/ranging/detail/sample_block.h"
#include "flightpath/ranging/detail/symmetric_operator.h"
#include "flightpath/spectrum/detail/double_transform.h"

namespace flightpath {

/// The smoothed covariance of one or several rows as an operator, in O(N log N) per product and O(N) of
/// memory.
///
/// With X_s the L x K Hankel matrix of row s, X_s(m, j) = x_s(m + j), the sum of the covariances is, up
/// to a factor,
///
///   R = F + J conj(F) J,   F = sum over s of X_s X_s^H
///
/// It maps centro-Hermitian vectors e, e(m) = conj(e(L - 1 - m)), to such, and all of its eigenvectors
/// can be chosen so. They have L real degrees of freedom, in which R is the symmetric matrix C of
/// `RealCovariance`, in the same basis. A product is F e + J conj(F e), and both products with a Hankel
/// matrix are one correlation, by transforms of at least N points, where nothing wraps round:
///
///   c(j) = conj((X^H e)(j)) = sum over m of x(m + j) conj(e(m))
///   (F e)(m)                = sum over j of x(m + j) conj(c(j))
class CovarianceProducts final : public SymmetricOperator {
 public:
  /// For `numRows` rows of N samples in subvectors of length L.
  ///
  /// Errors: std::bad_alloc.
  CovarianceProducts(int N, int L, int numRows);

  /// The covariance of these samples from now on.
  void form(const SampleBlock& samples);

  int order() const override { return L_; }
  void multiply(std::span<const double> v, std::span<double> product) override;

  /// The sum of the eigenvalues.
  double trace() const { return trace_; }

 private:
  void addTrace(std::span<const double> re, std::span<const double> im);
  void keepValues(int count);
  void applyToVector();

  int N_;
  int L_;
  int K_;
  DoubleTransform transform_;
  std::vector<std::vector<Complex>> rows_;  // the spectrum of each row's samples
  std::vector<Complex> vector_;             // the spectrum of e
  std::vector<Complex> sum_;                // the spectra of F e, summed over the rows
  double trace_ = 0.0;
};

}  // namespace flightpath
