#include "flightpath/toolbox/detail/small_matrices.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "flightpath/toolbox/detail/blas.h"
#include "flightpath/toolbox/detail/lapack.h"
#include "flightpath/toolbox/detail/plain_matrices.h"

namespace flightpath {
namespace {

// Up to these orders the plain loops are taken. Cholesky and Eigen of bench/tuning_bench.cpp are as fast
// there as the library, or faster. Product is not where BLAS has wide registers, up to four times: but
// its lock would be met several times per estimate, and the batch of scripts/bench on two threads was
// 1.84 times as fast as on one with BLAS, and is 1.98 times as fast with the loops.
constexpr int smallProduct = 128;
constexpr int smallFactor = 64;
constexpr int smallEigen = 12;
static_assert(smallEigen <= plain::mostEigen);

}  // namespace

double dot(const double* a, const double* b, int n) { return plain::dot(a, b, n); }

void multiply(int m, int n, int k, const double* A, const double* B, double* C) {
  if (m > smallProduct) {
    blas::multiplyReal(m, n, k, A, B, C);
  } else {
    plain::multiply(m, n, k, A, B, C);
  }
}

bool choleskyFactor(int n, double* A) {
  return n > smallFactor ? lapack::choleskyFactor(n, A) == 0 : plain::choleskyFactor(n, A);
}

std::optional<double> logDeterminant(int n, const double* factor, double leastPivot) {
  double logs = 0.0;
  for (int i = 0; i < n; ++i) {
    const double root = factor[static_cast<std::size_t>(i) * static_cast<std::size_t>(n + 1)];
    if (!(root * root > leastPivot)) {
      return {};
    }
    logs += std::log(root);
  }
  return 2.0 * logs;
}

void symmetricEigen(int n, double* A, double* eigenvalues, double* work) {
  if (n > smallEigen) {
    lapack::symmetricEigen(n, A, eigenvalues, work);
  } else {
    plain::symmetricEigen(n, A, eigenvalues);
  }
}

LeadingDecomposition::LeadingDecomposition(int n)
    : n_(n),
      A_(row(n)),
      vectors_(row(n)),
      values_(static_cast<std::size_t>(n)),
      diagonal_(values_.size()),
      offDiagonal_(values_.size()),
      tau_(values_.size()),
      work_(lapack::tridiagonalWork * values_.size()),
      whole_(4 * values_.size()) {}

void LeadingDecomposition::solveValues(const double* A) {
  if (n_ <= smallEigen) {
    std::copy_n(A, vectors_.size(), vectors_.data());
    plain::symmetricEigen(n_, vectors_.data(), values_.data());
    vectorsFrom_ = 0;
    return;
  }
  std::copy_n(A, A_.size(), A_.data());
  lapack::tridiagonalise(n_, A_.data(), diagonal_.data(), offDiagonal_.data(), tau_.data(),
                         work_.data());
  keepFromSplitting();
  values_ = diagonal_;
  std::ranges::copy(offDiagonal_, work_.begin());
  lapack::tridiagonalEigenvalues(n_, values_.data(), work_.data());
}

/// Where the matrix falls apart, its parts would have to be solved one by one; an off-diagonal element of the size
/// of rounding holds them together and moves no eigenvalue by more.
void LeadingDecomposition::keepFromSplitting() {
  double most = std::numeric_limits<double>::min();
  for (std::size_t i = 0; i < diagonal_.size(); ++i) {
    most = std::max({most, std::fabs(diagonal_[i]), std::fabs(offDiagonal_[i])});
  }
  const double least = std::numeric_limits<double>::epsilon() * most;
  for (double& element : offDiagonal_) {
    if (!(std::fabs(element) >= least)) {
      element = least;
    }
  }
}

void LeadingDecomposition::solveVectors(int count) {
  if (n_ <= smallEigen) {
    return;
  }
  vectorsFrom_ = n_ - count;
  lapack::tridiagonalEigenvectors(n_, diagonal_.data(), offDiagonal_.data(), count,
                                  values_.data() + vectorsFrom_, vectors_.data(), work_.data(),
                                  whole_.data());
  lapack::applyReflections(n_, A_.data(), tau_.data(), count, vectors_.data(), work_.data());
}

const double* LeadingDecomposition::vector(int k) const {
  return vectors_.data() + row(n_ - 1 - k - vectorsFrom_);
}

}  // namespace flightpath
