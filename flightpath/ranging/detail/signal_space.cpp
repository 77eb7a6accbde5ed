#include "flightpath/ranging/detail/signal_space.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "flightpath/rules/count_limits.h"
#include "flightpath/toolbox/detail/small_matrices.h"

namespace flightpath {
namespace {

/// A signal's eigenvector is good when C v - theta v is this much of theta: the path moves by less than
/// a hundredth of a fine step.
constexpr double vectorTolerance = 1e-6;
constexpr int mostSteps = 40;

/// Eigenvalues below the largest times this are rounding of single-precision samples: they count as
/// equal to it.
constexpr double roundingOfSamples = 0x1p-24;

/// Cholesky pivots below the largest diagonal element times this say that the matrix is numerically
/// singular.
constexpr double singularPivot = 1e-13;

std::size_t onDiagonal(int i, int order) {
  return static_cast<std::size_t>(i) * static_cast<std::size_t>(order + 1);
}

}  // namespace

SignalSpace::SignalSpace(int order, int rank, int snapshots, const SignalSpaceTuning& tuning)
    : order_(order),
      rank_(rank),
      snapshots_(snapshots),
      tuning_(tuning),
      pairs_(order, tuning.firstWidth) {
  const auto n = static_cast<std::size_t>(order);
  factor_.resize(n * n);
  if (order >= tuning_.roughOrder) {
    roughFactor_.resize(n * n);
  }
  eigenvalues_.resize(n);
  lapackWork_.resize(3 * n);
  leading_.reserve(n);
}

int SignalSpace::count(std::span<const double> matrix) {
  matrix_ = matrix;
  solvedFully_ = false;
  const std::optional<EigenvalueSums> sums = sumsByCholesky();
  return sums ? countByIteration(*sums) : countFully();
}

int SignalSpace::take(std::span<const double> matrix, int wanted) {
  matrix_ = matrix;
  solvedFully_ = false;
  wanted = std::min(wanted, std::min(order_, rank_));
  if (3 * wanted > order_) {
    decomposeFully();
    return wanted;
  }
  pairs_.start(matrix_);
  while (pairs_.width() < wanted + 2 && pairs_.widen()) {
  }
  for (int i = 0; i < mostSteps; ++i) {
    pairs_.step();
    if (converged(wanted)) {
      return wanted;
    }
  }
  decomposeFully();
  return wanted;
}

double SignalSpace::value(int k) const {
  return solvedFully_ ? eigenvalues_[static_cast<std::size_t>(order_ - 1 - k)] : pairs_.value(k);
}

std::span<const double> SignalSpace::vector(int k) const {
  if (!solvedFully_) {
    return pairs_.vector(k);
  }
  const auto n = static_cast<std::size_t>(order_);
  return std::span(factor_).subspan(static_cast<std::size_t>(order_ - 1 - k) * n, n);
}

/// The logarithm of the determinant from a Cholesky factor of this precision; empty where there is
/// none, or where a pivot is below the largest diagonal element times smallestPivot.
template <class Real>
std::optional<double> SignalSpace::logDeterminant(std::vector<Real>& factor, double smallestPivot) {
  std::ranges::transform(matrix_, factor.begin(), [](double c) { return static_cast<Real>(c); });
  double largest = 0.0;
  for (int i = 0; i < order_; ++i) {
    largest = std::max(largest, matrix_[onDiagonal(i, order_)]);
  }
  if (!choleskyFactor(order_, factor.data())) {
    return {};
  }
  return flightpath::logDeterminant(order_, factor.data(), smallestPivot * largest);
}

/// All eigenvalues' sums, from a Cholesky factor; empty where the matrix has no such factor.
std::optional<EigenvalueSums> SignalSpace::sumsByCholesky() {
  if (order_ > rank_) {
    return {};  // singular, whatever the noise
  }
  double trace = 0.0;
  for (int i = 0; i < order_; ++i) {
    trace += matrix_[onDiagonal(i, order_)];
  }
  if (!roughFactor_.empty()) {
    if (const auto logs = logDeterminant(roughFactor_, tuning_.roughPivot)) {
      return EigenvalueSums{order_, snapshots_, trace, *logs, tuning_.roughSlack * order_};
    }
  }
  if (const auto logs = logDeterminant(factor_, singularPivot)) {
    return EigenvalueSums{order_, snapshots_, trace, *logs, 0.0};
  }
  return {};
}

bool SignalSpace::converged(int numPairs) const {
  for (int k = 0; k < numPairs; ++k) {
    if (!(pairs_.residual(k) <= vectorTolerance * pairs_.value(k))) {
      return false;
    }
  }
  return true;
}

/// The count by the eigenvalues that have settled; empty where it takes more of them.
std::optional<int> SignalSpace::currentCount(const EigenvalueSums& sums) {
  leading_.clear();
  for (int k = 0;
       k < pairs_.width() && pairs_.residual(k) <= tuning_.valueTolerance * pairs_.value(k); ++k) {
    leading_.push_back(pairs_.value(k));
  }
  return countSignals(sums, leading_);
}

int SignalSpace::countByIteration(const EigenvalueSums& sums) {
  pairs_.start(matrix_);
  for (int i = 0; i < mostSteps; ++i) {
    pairs_.step();
    const std::optional<int> count = currentCount(sums);
    if (count && converged(*count)) {
      return *count;
    }
    const bool allUsed = static_cast<int>(leading_.size()) + 1 >= pairs_.width();
    if (!count && allUsed && !pairs_.widen()) {
      break;
    }
  }
  return countFully();
}

void SignalSpace::decomposeFully() {
  std::ranges::copy(matrix_, factor_.begin());
  symmetricEigen(order_, factor_.data(), eigenvalues_.data(), lapackWork_.data());
  solvedFully_ = true;
}

/// All eigenvalues, those of rounding raised to the rounding of the samples: the count of a matrix
/// that is singular, or whose pairs would not separate.
int SignalSpace::countFully() {
  decomposeFully();
  const int m = std::min(order_, rank_);
  leading_.assign(eigenvalues_.rbegin(), eigenvalues_.rbegin() + m);
  if (!(leading_.front() > 0.0)) {
    return 0;
  }
  EigenvalueSums sums = {m, snapshots_, 0.0, 0.0, 0.0};
  for (double& value : leading_) {
    value = std::max(value, roundingOfSamples * leading_.front());
    sums.trace += value;
    sums.logDeterminant += std::log(value);
  }
  return countSignals(sums, leading_).value();  // no more are needed: these are all
}

}  // namespace flightpath
