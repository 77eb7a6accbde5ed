#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "flightpath/ranging/detail/lagged_products.h"
#include "flightpath/ranging/detail/real_form.h"

namespace flightpath {

/// The real form of the mean smoothed covariance of several rows.
///
/// With X_s the L x K Hankel matrix of row s, the sum of the covariances is, up to a factor,
///
///   R = F + J conj(F) J,   F = sum over s of X_s X_s^H
///
/// and centro-Hermitian: R(i, j) = conj(R(L - 1 - i, L - 1 - j)). For h = floor(L / 2), A the first
/// h x h elements of R and B(i, j) = R(i, L - 1 - j), the unitary change to the basis of vectors
/// [p + i q; (r sqrt(2));  reversed conj] / sqrt(2) makes it the real symmetric matrix, on [p; (r); q],
///
///   C = [Re A + Re B,  (sqrt(2) Re b),  -Im A + Im B]
///       [(.)           (R(h, h))        (sqrt(2) Im b^T)]      b(i) = R(i, h), for odd L alone
///       [Im A + Im B,  (.)              Re A - Re B     ]
///
/// of order L: from two rows on that is less than the 2 K S of the rows' Gram matrix.
///
/// The elements of a diagonal of F differ by two of G = sum over s of x_s x_s^H, so that C costs
/// O(S N^2) for the diagonals of G and O(L^2) for all else; one diagonal of G is kept at a time.
class RealCovariance final : public RealForm {
 public:
  /// For vectors of N samples in subvectors of length L.
  RealCovariance(int N, int L);

  void form(const SampleBlock& samples) override;

  int order() const override { return L_; }
  int L() const override { return L_; }
  std::span<const double> matrix() const override { return C_; }
  void eigenvector(std::span<const double> v, double value, std::span<double> re,
                   std::span<double> im) const override;

 private:
  void diagonalOfProducts(const SampleBlock& samples, int offset);
  void diagonalOfCovariance(int offset);
  void place(int offset);

  int N_;
  int L_;
  int K_;
  LaggedProducts addProducts_;
  std::vector<double> zeros_;    // a row of them
  std::vector<double> Gr_, Gi_;  // a diagonal of G
  std::vector<double> Rr_, Ri_;  // the same diagonal of F, then of R
  std::vector<double> Ar_, Ai_;  // h x h row-major, columns j >= i of row i
  std::vector<double> Br_, Bi_;
  std::vector<double> C_;
};

}  // namespace flightpath
