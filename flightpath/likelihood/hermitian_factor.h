#pragma once

#include <cstddef>
#include <vector>

#include "flightpath/likelihood/complex_products.h"

namespace flightpath {

/// The Cholesky factor of a small Hermitian matrix, A = L L^H.
class HermitianFactor {
 public:
  explicit HermitianFactor(int mostRows)
      : rows_(static_cast<std::size_t>(mostRows)), elements_(rows_ * rows_) {}

  /// Element of the lower triangle, i >= j: of A before `factor`, of L after it.
  Complex& operator()(int i, int j) { return elements_[index(i, j)]; }
  Complex operator()(int i, int j) const { return elements_[index(i, j)]; }

  /// Factors the leading n x n part. False, with the matrix left half-way, where a pivot, the square
  /// of a diagonal element of L, is not above leastPivot.
  bool factor(int n, double leastPivot);

  /// b := L^-1 b and b := L^-H b, n elements.
  void solveLower(int n, Complex* b) const;
  void solveUpper(int n, Complex* b) const;

  /// Element (p, p) of the inverse of A.
  double inverseDiagonal(int n, int p, Complex* work) const;

 private:
  std::size_t index(int i, int j) const {
    return static_cast<std::size_t>(i) * rows_ + static_cast<std::size_t>(j);
  }

  std::size_t rows_;
  std::vector<Complex> elements_;  // row-major
};

}  // namespace flightpath
