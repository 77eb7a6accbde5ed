#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "flightpath/ranging/detail/symmetric_operator.h"

namespace flightpath {

/// The largest eigenvalues of a symmetric operator and their eigenvectors, by a block Lanczos
/// process: Rayleigh-Ritz projection onto the span of Q, C Q, C^2 Q ..., with Q a block of
/// pseudo-random columns.
///
/// Every column is made orthogonal to all before it, twice, so that no eigenvalue is found more
/// often than it occurs. Where the span is exhausted (the operator has a lower rank, or an
/// eigenvalue occurs more often than the block has columns), new pseudo-random columns take over.
///
/// A block iteration keeps its last block alone. Here every product counts, of which three paths at
/// 25 dB take 12 to 16.
///
/// Source: G. H. Golub, C. F. Van Loan, Matrix Computations, section 10.3 (block Lanczos).
class KrylovEigenpairs {
 public:
  static constexpr int blockWidth = 4;

  /// For operators of this order, which is at least mostProducts + 2 blockWidth.
  KrylovEigenpairs(int order, int mostProducts);

  /// Starts over with this operator, which must outlive the steps.
  void start(SymmetricOperator& C);

  /// Multiplies the columns that have not been multiplied yet, each of which gives a new one. The
  /// Ritz pairs are gone until the next step. False: that would be more than mostProducts, and
  /// nothing was done.
  bool extend();

  /// The same, and solves the Ritz pairs of all columns that have been multiplied. False: nothing
  /// was done.
  bool step();

  /// Adds another pseudo-random block to the columns of the next step, where there is room.
  void addBlock();

  /// How many steps the last pseudo-random block has taken part in.
  int stepsOfBlock() const { return stepsOfBlock_; }

  /// How many Ritz pairs there are.
  int size() const { return size_; }

  /// Ritz value k, descending, and the norm of C y - theta y.
  double value(int k) const { return values_[static_cast<std::size_t>(k)]; }
  double residual(int k) const { return residuals_[static_cast<std::size_t>(k)]; }

  /// y := Ritz vector k.
  void vector(int k, std::span<double> y) const;

  /// An estimate of the sum of theta^power over all eigenvalues but those of the first `without`
  /// Ritz pairs: the mean of q^T C^power q over the columns q of the last pseudo-random block,
  /// times the order. By Gauss quadrature the mean is exact up to power 2 s - 1 after s steps of
  /// that block, of which there must be one.
  ///
  /// Source: G. H. Golub, G. Meurant, Matrices, Moments and Quadrature with Applications, chapter
  /// 11.
  double traceEstimate(int power, int without) const;

 private:
  double* column(int k) { return Q_.get() + static_cast<std::size_t>(k) * order_; }
  const double* column(int k) const { return Q_.get() + static_cast<std::size_t>(k) * order_; }
  double& projected(int row, int k) {
    return projected_[static_cast<std::size_t>(k) * rows_ + static_cast<std::size_t>(row)];
  }
  double* ritzVector(int k) {
    return vectors_.data() + static_cast<std::size_t>(k) * static_cast<std::size_t>(size_);
  }
  const double* ritzVector(int k) const {
    return vectors_.data() + static_cast<std::size_t>(k) * static_cast<std::size_t>(size_);
  }
  void fillAtRandom(int k);
  double orthogonalise(int k, double* coefficients);
  void addColumn(int from);
  void solveProjected();
  double residualOf(const double* ritz);

  std::size_t order_;
  int most_;
  std::size_t rows_;  // of the projected matrix: as many as Q may have columns
  SymmetricOperator* C_ = nullptr;
  std::uint64_t state_ = 0;  // of the pseudo-random numbers
  int size_ = 0;             // columns that have been multiplied
  int columns_ = 0;          // all of them
  int firstOfBlock_ = 0;     // column of the last pseudo-random block
  int stepsOfBlock_ = 0;
  double largest_ = 0.0;  // norm of a product so far
  // order x (most + 2 blockWidth), not touched before it is used: few estimates need more than a quarter.
  std::unique_ptr<double[]> Q_;
  std::vector<double> projected_;  // Q^T C Q: a row per column of Q, a column per product
  std::vector<double> vectors_;    // of its leading size x size part
  std::vector<double> ascending_;
  std::vector<double> work_;
  std::vector<double> values_;
  std::vector<double> residuals_;
};

}  // namespace flightpath
