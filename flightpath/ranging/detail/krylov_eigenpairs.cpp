#include "flightpath/ranging/detail/krylov_eigenpairs.h"

#include <algorithm>
#include <cmath>

#include "flightpath/runtime/detail/wide_vectors.h"
#include "flightpath/toolbox/detail/small_matrices.h"

namespace flightpath {
namespace {

/// What orthogonalisation leaves of a product is rounding where its norm is below that of the
/// largest product times this.
constexpr double rounding = 1e-13;

FLIGHTPATH_WIDE_VECTORS void subtract(double factor, const double* from, double* to,
                                      std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) {
    to[i] -= factor * from[i];
  }
}

}  // namespace

KrylovEigenpairs::KrylovEigenpairs(int order, int mostProducts)
    : order_(static_cast<std::size_t>(order)),
      most_(mostProducts),
      rows_(static_cast<std::size_t>(mostProducts + 2 * blockWidth)) {
  const auto most = static_cast<std::size_t>(mostProducts);
  Q_ = std::make_unique_for_overwrite<double[]>(order_ * rows_);
  projected_.resize(rows_ * most);
  vectors_.resize(most * most);
  ascending_.resize(most);
  work_.resize(3 * most);
  values_.resize(most);
  residuals_.resize(most);
}

void KrylovEigenpairs::start(SymmetricOperator& C) {
  C_ = &C;
  state_ = 0x9E3779B97F4A7C15ULL;
  size_ = 0;
  columns_ = 0;
  largest_ = 0.0;
  addBlock();
}

void KrylovEigenpairs::addBlock() {
  if (columns_ + blockWidth > static_cast<int>(rows_)) {
    return;
  }
  firstOfBlock_ = columns_;
  stepsOfBlock_ = 0;
  for (int j = 0; j < blockWidth; ++j) {
    fillAtRandom(columns_);
    ++columns_;
  }
}

/// Pseudo-random numbers, the same for every operator, made orthonormal to all columns before.
void KrylovEigenpairs::fillAtRandom(int k) {
  std::generate_n(column(k), order_, [this] {
    state_ = state_ * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<double>(state_ >> 11) * 0x1p-52 - 1.0;
  });
  const double norm = orthogonalise(k, nullptr);
  std::for_each_n(column(k), order_, [norm](double& q) { q /= norm; });
}

/// Takes the columns before k out of column k, twice, and adds what it takes to the coefficients.
/// Returns the norm that is left.
double KrylovEigenpairs::orthogonalise(int k, double* coefficients) {
  const int n = static_cast<int>(order_);
  double* const w = column(k);
  for (int pass = 0; pass < 2; ++pass) {
    for (int i = 0; i < k; ++i) {
      const double share = dot(column(i), w, n);
      subtract(share, column(i), w, order_);
      if (coefficients != nullptr) {
        coefficients[i] += share;
      }
    }
  }
  return std::sqrt(dot(w, w, n));
}

bool KrylovEigenpairs::step() {
  if (!extend()) {
    return false;
  }
  solveProjected();
  return true;
}

bool KrylovEigenpairs::extend() {
  const int first = size_;
  const int last = columns_;
  if (last > most_ || last + (last - first) > static_cast<int>(rows_)) {
    return false;
  }
  for (int k = first; k < last; ++k) {
    addColumn(k);
  }
  size_ = last;
  ++stepsOfBlock_;
  return true;
}

/// Appends a column: what is new in the product of column `from`.
void KrylovEigenpairs::addColumn(int from) {
  const int k = columns_;
  C_->multiply({column(from), order_}, {column(k), order_});
  double* const coefficients = &projected(0, from);
  std::fill_n(coefficients, rows_, 0.0);
  largest_ = std::max(largest_, std::sqrt(dot(column(k), column(k), static_cast<int>(order_))));
  const double norm = orthogonalise(k, coefficients);
  if (norm > rounding * largest_) {
    coefficients[k] = norm;
    std::for_each_n(column(k), order_, [norm](double& q) { q /= norm; });
  } else {
    fillAtRandom(k);
  }
  ++columns_;
}

void KrylovEigenpairs::solveProjected() {
  const auto n = static_cast<std::size_t>(size_);
  for (int j = 0; j < size_; ++j) {
    for (int i = 0; i <= j; ++i) {
      // Rounding apart, the element below the diagonal is the same.
      vectors_[static_cast<std::size_t>(j) * n + static_cast<std::size_t>(i)] = projected(i, j);
      vectors_[static_cast<std::size_t>(i) * n + static_cast<std::size_t>(j)] = projected(i, j);
    }
  }
  symmetricEigen(size_, vectors_.data(), ascending_.data(), work_.data());
  std::reverse_copy(ascending_.begin(), ascending_.begin() + size_, values_.begin());
  for (int front = 0, back = size_ - 1; front < back; ++front, --back) {
    std::swap_ranges(ritzVector(front), ritzVector(front) + n, ritzVector(back));
  }
  for (int k = 0; k < size_; ++k) {
    residuals_[static_cast<std::size_t>(k)] = residualOf(ritzVector(k));
  }
}

/// The norm of what C y has along the columns that have not been multiplied; the rest of it is
/// theta y.
double KrylovEigenpairs::residualOf(const double* ritz) {
  double squares = 0.0;
  for (int row = size_; row < columns_; ++row) {
    double sum = 0.0;
    for (int k = 0; k < size_; ++k) {
      sum += projected(row, k) * ritz[k];
    }
    squares += sum * sum;
  }
  return std::sqrt(squares);
}

void KrylovEigenpairs::vector(int k, std::span<double> y) const {
  std::ranges::fill(y, 0.0);
  for (int i = 0; i < size_; ++i) {
    subtract(-ritzVector(k)[i], column(i), y.data(), order_);
  }
}

double KrylovEigenpairs::traceEstimate(int power, int without) const {
  double sum = 0.0;
  for (int k = without; k < size_; ++k) {
    double share = 0.0;
    for (int j = firstOfBlock_; j < firstOfBlock_ + blockWidth; ++j) {
      share += ritzVector(k)[j] * ritzVector(k)[j];
    }
    sum += share * std::pow(value(k), power);
  }
  return sum * static_cast<double>(order_) / blockWidth;
}

}  // namespace flightpath
