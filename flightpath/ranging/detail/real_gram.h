#pragma once

#include <span>
#include <vector>

#include "flightpath/ranging/detail/real_form.h"

namespace flightpath {

/// The small real matrix that has the eigenvalues of the smoothed covariance of one row.
///
/// With X the L x K Hankel matrix of the subvectors, K = N - L + 1, the covariance is
/// Z Z^H / 2K with Z = [X, J conj(X)], so that its non-zero eigenvalues are those of
///
///   Z^H Z / 2K = [P, S; conj(S), conj(P)] / 2K,   P = X^H X,  S = X^H J conj(X)
///
/// For a vector [a; conj(a)], a = p + i q, this acts on the real [p; q] as the symmetric
///
///   C = [Re P + Re S, -Im P + Im S; Im P + Im S, Re P - Re S]
///
/// (the factor 1 / 2K is left out). An eigenvector [p; q] of C, of unit norm with eigenvalue c, gives
/// the unit eigenvector e = (X a + J conj(X a)) / sqrt(2 c) of the covariance.
///
/// Neighbours along a diagonal of P and an antidiagonal of S differ by two products: O(N^2) in all.
class RealGram final : public RealForm {
 public:
  /// For vectors of N samples in subvectors of length L.
  RealGram(int N, int L);

  /// Of a block of one row.
  void form(const SampleBlock& samples) override;

  int order() const override { return 2 * K_; }
  int L() const override { return L_; }
  std::span<const double> matrix() const override { return C_; }
  void eigenvector(std::span<const double> pq, double c, std::span<double> re,
                   std::span<double> im) const override;

 private:
  void firstRows();
  void remainingRows();
  void nextRowOfP(int i);
  void nextRowOfS(int i);

  int N_;
  int L_;
  int K_;
  std::vector<double> xr_, xi_;          // samples
  std::vector<double> Pr_, Pi_;          // K x K row-major, columns j >= i of row i
  std::vector<double> Sr_, Si_;          // K x K row-major
  std::vector<double> lastRe_, lastIm_;  // the last column of S, but for row 0
  std::vector<double> C_;                // 2K x 2K
};

}  // namespace flightpath
