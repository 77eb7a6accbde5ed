#include "flightpath/ranging/detail/signal_space.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "flightpath/ranging/detail/signals.h"

namespace flightpath {
namespace {

std::size_t onDiagonal(int i, int order) {
  return static_cast<std::size_t>(i) * static_cast<std::size_t>(order + 1);
}

/// How many more steps bring a residual down to the tolerance that the last one brought from `before` to
/// `now`.
double stepsLeft(double before, double now) {
  return now < before ? std::log(eigenvectorTolerance / now) / std::log(now / before)
                      : std::numeric_limits<double>::infinity();
}

}  // namespace

SignalSpace::SignalSpace(int order, int rank, int snapshots, const SignalSpaceTuning& tuning)
    : order_(order),
      rank_(rank),
      snapshots_(snapshots),
      tuning_(tuning),
      pairs_(order, tuning.firstWidth),
      decomposed_(order) {
  const auto n = static_cast<std::size_t>(order);
  factor_.resize(n * n);
  leading_.reserve(n);
}

void SignalSpace::start(std::span<const double> matrix) {
  matrix_ = matrix;
  isDecomposed_ = false;
  products_ = 0;
  trace_ = 0.0;
  for (int i = 0; i < order_; ++i) {
    trace_ += matrix_[onDiagonal(i, order_)];
  }
}

int SignalSpace::count(std::span<const double> matrix) {
  start(matrix);
  if (!(trace_ > 0.0)) {
    return 0;
  }
  const std::optional<double> logs = logDeterminant();
  if (!logs) {
    return countByDecomposition({});
  }
  const EigenvalueSums sums = {order_, snapshots_, trace_, *logs};
  const std::optional<int> count = countByIteration(sums);
  return count ? *count : countByDecomposition(sums);
}

int SignalSpace::take(std::span<const double> matrix, int wanted) {
  start(matrix);
  wanted = std::min({wanted, order_, rank_});
  if (10 * wanted >= order_) {
    return takeByDecomposition(wanted);
  }
  pairs_.start(matrix_);
  while (pairs_.width() < wanted + 2 && pairs_.widen()) {
  }
  double before = std::numeric_limits<double>::infinity();
  while (iterate()) {
    const double now = worstResidual(wanted);
    if (now <= eigenvectorTolerance) {
      return wanted;
    }
    if (stepsLeft(before, now) * pairs_.width() > order_) {
      break;
    }
    before = now;
  }
  return takeByDecomposition(wanted);
}

double SignalSpace::value(int k) const {
  return isDecomposed_ ? decomposed_.value(k) : pairs_.value(k);
}

std::span<const double> SignalSpace::vector(int k) const {
  if (isDecomposed_) {
    return {decomposed_.vector(k), static_cast<std::size_t>(order_)};
  }
  return pairs_.vector(k);
}

/// The sum of the logarithms of all eigenvalues, from a Cholesky factor; empty where the matrix is
/// singular: by its rank, whatever the noise, or numerically.
std::optional<double> SignalSpace::logDeterminant() {
  if (order_ > rank_) {
    return {};
  }
  double largest = 0.0;
  for (int i = 0; i < order_; ++i) {
    largest = std::max(largest, matrix_[onDiagonal(i, order_)]);
  }
  std::ranges::copy(matrix_, factor_.begin());
  if (!choleskyFactor(order_, factor_.data())) {
    return {};
  }
  return flightpath::logDeterminant(order_, factor_.data(), singularPivot * largest);
}

/// Another step of the block, unless it has had twice the products that a decomposition costs.
bool SignalSpace::iterate() {
  if (products_ >= 2 * order_) {
    return false;
  }
  pairs_.step();
  products_ += pairs_.width();
  return true;
}

/// The largest |C v - theta v| / theta; rounding may leave a theta of no sign.
double SignalSpace::worstResidual(int numPairs) const {
  double worst = 0.0;
  for (int k = 0; k < numPairs; ++k) {
    const double value = std::max(pairs_.value(k), std::numeric_limits<double>::min());
    worst = std::max(worst, pairs_.residual(k) / value);
  }
  return worst;
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

/// Empty where a decomposition would cost no more.
std::optional<int> SignalSpace::countByIteration(const EigenvalueSums& sums) {
  pairs_.start(matrix_);
  while (iterate()) {
    const std::optional<int> count = currentCount(sums);
    if (count && worstResidual(*count) <= eigenvectorTolerance) {
      return count;
    }
    const bool allUsed = static_cast<int>(leading_.size()) + 1 >= pairs_.width();
    if (!count && allUsed && !pairs_.widen()) {
      break;
    }
  }
  return {};
}

int SignalSpace::takeByDecomposition(int wanted) {
  decomposed_.solveValues(matrix_.data());
  decomposed_.solveVectors(wanted);
  isDecomposed_ = true;
  return wanted;
}

/// The count of a matrix whose pairs would not separate, or of one that is singular, which has no sums:
/// only there are eigenvalues below the rounding of the samples rounding.
int SignalSpace::countByDecomposition(const std::optional<EigenvalueSums>& sums) {
  decomposed_.solveValues(matrix_.data());
  isDecomposed_ = true;
  leading_.clear();
  for (int k = 0; k < std::min(order_, rank_); ++k) {
    leading_.push_back(decomposed_.value(k));
  }
  const int count = sums ? countSignals(*sums, leading_).value()
                         : countAboveRounding(std::min(order_, rank_), snapshots_, leading_);
  decomposed_.solveVectors(count);
  return count;
}

}  // namespace flightpath
