#include "flightpath/ranging/detail/long_signal_space.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <numeric>

#include "flightpath/ranging/detail/real_form.h"

namespace flightpath {
namespace {

/// An eigenvalue that only the criterion looks at is good when C y - theta y is this much of theta: its
/// error is the square of that.
constexpr double valueTolerance = 3e-2;

/// Estimates of the largest eigenvalue left and of the squares are doubled: from two steps on they are
/// within a tenth for noise (bench/tuning_bench.cpp, LongCount).
constexpr double caution = 2.0;

/// A third of the trace that no product has met means copies of an eigenvalue that the block missed.
constexpr double leastShareMet = 0.6;

/// Products of an estimate, at most, some three times what three paths take: channels that need more of them
/// were not met. Where a count is forced that takes eigenvectors of noise, they never settle.
constexpr int mostProducts = 48;
int mostForced(int wanted) { return std::max(36, wanted + 12); }

/// One row's covariance has rank 2K at most.
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
  while (pairs_.step()) {
    keepSettled();
    const std::optional<int> count = certainCount();
    if (count && converged(*count)) {
      return *count;
    }
  }
  // The best of those that settled.
  return countSignals(bounds(0.0, 0.0), leading_).value();
}

int LongSignalSpace::take(const SampleBlock& samples, int wanted) {
  covariance_.form(samples);
  pairs_.start(covariance_);
  while (pairs_.step()) {
    if (pairs_.size() >= wanted && converged(wanted)) {
      break;
    }
  }
  return std::min(wanted, pairs_.size());
}

void LongSignalSpace::eigenvector(int k, std::span<double> re, std::span<double> im) {
  pairs_.vector(k, vector_);
  fromRealForm(vector_, [&](std::size_t m, double real, double imaginary) {
    re[m] = real;
    im[m] = imaginary;
  });
}

/// Of a matrix of lower rank: there is nothing to converge to.
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

EigenvalueBounds LongSignalSpace::bounds(double next, double squares) const {
  return {rank_, numRows_, covariance_.trace(), next, squares};
}

/// The count, where nothing that is not solved can change it.
std::optional<int> LongSignalSpace::certainCount() {
  const int settled = static_cast<int>(leading_.size());
  if (pairs_.size() < 2 * KrylovEigenpairs::blockWidth) {
    return {};  // the estimate of the squares is not exact yet
  }
  const double trace = covariance_.trace();
  const double left = std::accumulate(leading_.begin(), leading_.end(), trace, std::minus<>());
  if (left <= singularPivot * trace) {
    return countAboveRounding(rank_, numRows_, leading_);
  }
  if (pairs_.traceEstimate(1, settled) < leastShareMet * left) {
    pairs_.addBlock();
    return {};
  }
  const double next = pairs_.value(std::min(settled, pairs_.size() - 1));
  const double squares = pairs_.traceEstimate(2, settled);
  return countSignals(bounds(caution * next, caution * squares), leading_);
}

}  // namespace flightpath
