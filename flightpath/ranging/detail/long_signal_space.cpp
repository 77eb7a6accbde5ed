#include "flightpath/ranging/detail/long_signal_space.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <numeric>

#include "flightpath/ranging/detail/real_form.h"

namespace flightpath {
namespace {

/// An eigenvalue that only the criterion looks at is good when C y - theta y is this part of theta:
/// its relative error is the square of that.
constexpr double valueTolerance = 3e-2;

/// The estimates of the largest eigenvalue left and of the squares are doubled: after three steps
/// those of the squares of noise are within a third.
constexpr double caution = 2.0;

/// What the settled values lack is found in the sum of those that are left, whose logarithm counts
/// n times. This part of the sum moves the criterion by a thousandth of what a signal is charged.
constexpr double trustedError = 1e-3;

/// A single eigenvalue is counted that holds a share 1 - exp(-1 / rows) of what is left, about (see
/// `countSignals`). This much of that share may go unmet.
constexpr double tolerableShare = 0.6;

/// Products of an estimate, at most: twenty equal paths take fewer. Where a count is forced that
/// takes eigenvectors of noise, they never settle.
constexpr int mostProducts = 96;
int mostForced(int wanted) { return std::max(36, wanted + 12); }

/// Each row adds 2K to the rank at most.
int rankOf(int N, int L, int numRows) {
  return static_cast<int>(std::min<long long>(L, 2LL * numRows * (N - L + 1)));
}

}  // namespace

LongSignalSpace::LongSignalSpace(int N, int L, int numRows, int mostWanted)
    : rank_(rankOf(N, L, numRows)),
      numRows_(numRows),
      covariance_(N, L, numRows),
      pairs_(L, mostWanted > 0 ? mostForced(mostWanted) : mostProducts),
      vector_(static_cast<std::size_t>(L)) {}

int LongSignalSpace::count(const SampleBlock& samples) {
  covariance_.form(samples);
  if (!(covariance_.trace() > 0.0)) {
    return 0;
  }
  pairs_.start(covariance_);
  std::optional<int> count;
  while (pairs_.step()) {
    keepSettled();
    count = certainCount();
    if (count && converged(*count)) {
      return *count;
    }
  }
  return count.value_or(countAmongLeading(rank_, numRows_, covariance_.trace(), leading_));
}

int LongSignalSpace::take(const SampleBlock& samples, int wanted) {
  covariance_.form(samples);
  pairs_.start(covariance_);
  while (pairs_.size() + KrylovEigenpairs::blockWidth < wanted) {
    pairs_.extend();
  }
  while (pairs_.step() && !(pairs_.size() >= wanted && converged(wanted))) {
  }
  return wanted;
}

void LongSignalSpace::eigenvector(int k, std::span<double> re, std::span<double> im) {
  pairs_.vector(k, vector_);
  fromRealForm(vector_, [&](std::size_t m, double real, double imaginary) {
    re[m] = real;
    im[m] = imaginary;
  });
}

/// Where the rank is lower, what is beyond it has no pairs to converge to.
bool LongSignalSpace::isRounding(double value) const {
  return value <= singularPivot * pairs_.value(0);
}

bool LongSignalSpace::converged(int numPairs) const {
  for (int k = 0; k < numPairs; ++k) {
    if (!(pairs_.residual(k) <= eigenvectorTolerance * pairs_.value(k)) &&
        !isRounding(pairs_.value(k))) {
      return false;
    }
  }
  return true;
}

void LongSignalSpace::keepSettled() {
  leading_.clear();
  for (int k = 0; k < pairs_.size() && !isRounding(pairs_.value(k)) &&
                  pairs_.residual(k) <= valueTolerance * pairs_.value(k);
       ++k) {
    leading_.push_back(pairs_.value(k));
  }
}

/// How far the settled values are below their eigenvalues, in total. Each is below by the square of
/// its residual over its distance from the values that are left, which are small beside it.
double LongSignalSpace::errorOfSettled() const {
  double error = 0.0;
  for (int k = 0; k < static_cast<int>(leading_.size()); ++k) {
    error += pairs_.residual(k) * pairs_.residual(k) / pairs_.value(k);
  }
  return error;
}

/// Whether the part of the sum left that the block has not met is more than chance, and enough to
/// be counted. Of a pseudo-random q, q^T C q times the order varies by the root of twice the
/// squares.
bool LongSignalSpace::copiesAreMissed(double unmet, double left, double squares) const {
  const double chance = std::sqrt(2.0 * squares / KrylovEigenpairs::blockWidth);
  return unmet > 3.0 * chance && unmet > tolerableShare * -std::expm1(-1.0 / numRows_) * left;
}

/// The count, where no eigenvalue that is not solved can change it.
std::optional<int> LongSignalSpace::certainCount() {
  const double trace = covariance_.trace();
  const double left = std::accumulate(leading_.begin(), leading_.end(), trace, std::minus<>());
  if (left <= singularPivot * trace) {
    return countAboveRounding(rank_, numRows_, leading_);
  }
  if (pairs_.stepsOfBlock() < 2 || errorOfSettled() > trustedError * left) {
    return {};
  }
  const int settled = static_cast<int>(leading_.size());
  const double next = pairs_.value(std::min(settled, pairs_.size() - 1));
  const double squares = pairs_.traceEstimate(2, settled);
  if (copiesAreMissed(left - pairs_.traceEstimate(1, settled), left, squares)) {
    pairs_.addBlock();
    return {};
  }
  return countSignals({rank_, numRows_, trace, caution * next, caution * squares}, leading_);
}

}  // namespace flightpath
