#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

/// Real linear algebra for the orders that a Ranger meets: plain loops for small matrices, BLAS and
/// LAPACK for large ones.
///
/// At the size of a 64-subcarrier measurement a call into BLAS costs as much as its work, and most of
/// its routines take a process-wide lock for their buffers, for which the threads of a Ranger would
/// queue. Matrices are column-major without gaps.
namespace flightpath {

/// The sum of a(i) b(i).
double dot(const double* a, const double* b, int n);

/// C := A B, with A m x k, B k x n and C m x n.
void multiply(int m, int n, int k, const double* A, const double* B, double* C);

/// The lower Cholesky factor of an n x n matrix, in place of its lower triangle. False: the matrix is
/// numerically not positive definite, and is left half-way.
bool choleskyFactor(int n, double* A);

/// The logarithm of the determinant of the n x n matrix that has this Cholesky factor; empty where a
/// pivot, the square of a diagonal element of the factor, is not above leastPivot.
std::optional<double> logDeterminant(int n, const double* factor, double leastPivot);

/// Eigenvectors (in place of the n x n matrix) and ascending eigenvalues of a real symmetric matrix.
///
/// work  3 n
void symmetricEigen(int n, double* A, double* eigenvalues, double* work);

/// All eigenvalues of a real symmetric matrix and the eigenvectors of the largest: half to a fifth of the
/// time of all eigenvectors where LAPACK is called (bench/tuning_bench.cpp, Eigen).
class LeadingDecomposition {
 public:
  /// For matrices of order n.
  explicit LeadingDecomposition(int n);

  /// Solves the eigenvalues of A.
  void solveValues(const double* A);

  /// Solves the eigenvectors of the `count` largest.
  void solveVectors(int count);

  /// k = 0 the largest.
  double value(int k) const { return values_[static_cast<std::size_t>(n_ - 1 - k)]; }
  const double* vector(int k) const;

 private:
  std::size_t row(int i) const {
    return static_cast<std::size_t>(i) * static_cast<std::size_t>(n_);
  }
  void keepFromSplitting();

  int n_;
  int vectorsFrom_ = 0;    // which eigenvector stands first
  std::vector<double> A_;  // the reflections
  std::vector<double> vectors_;
  std::vector<double> values_;  // ascending
  std::vector<double> diagonal_, offDiagonal_, tau_;
  std::vector<double> work_;
  std::vector<std::int32_t> whole_;
};

}  // namespace flightpath
