#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace flightpath {

/// The largest eigenvalues of a real symmetric positive semi-definite matrix and their eigenvectors,
/// by block iteration with Rayleigh-Ritz projection.
///
///   Q := orthonormal basis of C Q;  Q^T C Q = Z diag(theta) Z^T;  Q := Q Z
///
/// Each step multiplies the error left in pair k by (largest eigenvalue outside the block) /
/// (eigenvalue k): a few steps where signals stand out of the noise. The block is wider than the
/// pairs that are asked for.
///
/// Source: B. N. Parlett, The Symmetric Eigenvalue Problem, chapter 14 (subspace iteration).
class LeadingEigenpairs {
 public:
  /// For matrices of this order, with a block of firstWidth columns to start with.
  explicit LeadingEigenpairs(int order, int firstWidth = 6);

  /// Starts over with this matrix, which must outlive the steps.
  void start(std::span<const double> matrix);

  /// One step of the iteration.
  void step();

  /// Doubles the block, up to half the order and 64, and keeps what it holds. False: it cannot grow.
  bool widen();

  /// How many pairs the block holds.
  int width() const { return width_; }

  /// Ritz value k, descending, and the norm of C v - theta v.
  double value(int k) const { return values_[static_cast<std::size_t>(k)]; }
  double residual(int k) const { return residuals_[static_cast<std::size_t>(k)]; }
  std::span<const double> vector(int k) const;

 private:
  double* columnOf(std::vector<double>& block, int k);
  void seed(int first);
  void orthonormalise();
  void project();
  void rotateToRitz();

  int order_;
  int firstWidth_;
  int width_ = 0;
  std::span<const double> matrix_;
  std::vector<double> Q_;        // order x width: basis, then Ritz vectors
  std::vector<double> CQ_;       // C Q, from which the next basis is made
  std::vector<double> rotated_;  // scratch of the rotation
  std::vector<double> T_;        // width x width projection
  std::vector<double> small_;    // scratch of its decomposition
  std::vector<double> ascending_;
  std::vector<double> values_;
  std::vector<double> residuals_;
};

}  // namespace flightpath
