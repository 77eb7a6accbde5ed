#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "flightpath/ranging/detail/symmetric_operator.h"

namespace flightpath {

/// The largest eigenvalues of a symmetric operator and their eigenvectors, by a block Lanczos process:
/// Rayleigh-Ritz projection onto the span of Q, C Q, C^2 Q ..., Q a block of columns without structure.
///
/// Every column is made orthogonal to all before it, twice: no eigenvalue appears more often than it is
/// there. Where the span is exhausted (the operator has a lower rank, or an eigenvalue stands more often
/// than the block has columns), columns without structure go on in its stead.
///
/// Block iteration keeps the last block alone, and takes twice the products for signals that stand out,
/// many times where they do not (bench/tuning_bench.cpp, LongCount).
///
/// Source: G. H. Golub, C. F. Van Loan, Matrix Computations, section 10.3 (block Lanczos).
class KrylovEigenpairs {
 public:
  static constexpr int blockWidth = 4;

  /// For operators of this order, of at least mostProducts + 2 blockWidth.
  KrylovEigenpairs(int order, int mostProducts);

  /// Starts over with this operator, which must outlive the steps.
  void start(SymmetricOperator& C);

  /// The products of the columns that have none, and the Ritz pairs of all that have. False: there would be
  /// more than mostProducts, and nothing was done.
  bool step();

  /// Puts another block without structure beside the columns of the next step, where there is room.
  void addBlock();

  /// How many Ritz pairs there are.
  int size() const { return size_; }

  /// Ritz value k, descending, and the norm of C y - theta y.
  double value(int k) const { return values_[static_cast<std::size_t>(k)]; }
  double residual(int k) const { return residuals_[static_cast<std::size_t>(k)]; }

  /// y := Ritz vector k.
  void vector(int k, std::span<double> y) const;

  /// What the last block without structure says of the sum of theta^power over all eigenvalues but those
  /// of the first `without` Ritz pairs: the mean of q^T C^power q over its columns q, times the order.
  /// By Gauss quadrature, exact up to power 2 s - 1 after s steps.
  ///
  /// Source: G. H. Golub, G. Meurant, Matrices, Moments and Quadrature with Applications, chapter 11.
  double traceEstimate(int power, int without) const;

 private:
  double* column(int k) { return Q_.data() + static_cast<std::size_t>(k) * order_; }
  const double* column(int k) const { return Q_.data() + static_cast<std::size_t>(k) * order_; }
  double& projected(int row, int k) {
    return projected_[static_cast<std::size_t>(k) * rows_ + static_cast<std::size_t>(row)];
  }
  double* ritzVector(int k) {
    return vectors_.data() + static_cast<std::size_t>(k) * static_cast<std::size_t>(size_);
  }
  const double* ritzVector(int k) const {
    return vectors_.data() + static_cast<std::size_t>(k) * static_cast<std::size_t>(size_);
  }
  void fillWithoutStructure(int k);
  double orthogonalise(int k, double* coefficients);
  bool normalise(int k, double norm, double least);
  void addColumn(int from);
  void solveProjected();
  double residualOf(const double* ritz);

  std::size_t order_;
  int most_;
  std::size_t rows_;  // of the projected matrix: as many columns as Q may have
  SymmetricOperator* C_ = nullptr;
  std::uint64_t state_ = 0;        // of the numbers without structure
  int size_ = 0;                   // columns that have their products
  int columns_ = 0;                // all of them
  int firstOfBlock_ = 0;           // of the last block without structure
  double largest_ = 0.0;           // norm of a product so far
  std::vector<double> Q_;          // order x (most + 2 blockWidth)
  std::vector<double> projected_;  // Q^T C Q: rows of all columns, columns of those with products
  std::vector<double> vectors_;    // of its leading size x size part
  std::vector<double> ascending_;
  std::vector<double> work_;
  std::vector<double> values_;
  std::vector<double> residuals_;
};

}  // namespace flightpath
