#pragma once

#include <optional>
#include <span>

namespace flightpath {

/// What the criterion needs of all eigenvalues together.
struct EigenvalueSums {
  int count;              // m, how many there are, all above 0
  int snapshots;          // S, how many rows the covariance is the mean of
  double trace;           // their sum
  double logDeterminant;  // the sum of their logarithms
  double slack;           // how far off that sum may be
};

/// The signal count of the criterion from the largest eigenvalues alone.
///
///   Q(k) = (2m - k + 1) k / 2 + S (m - k) log(AM / GM) of the m - k smallest
///
/// AM and GM follow from the sums, less what the k largest contribute. The sum of the logarithms is the
/// same in every Q(k): it has no part in which is smallest, only in when to stop. The likelihood term
/// is never negative, so once the penalty alone exceeds the best Q by more than the sum may be
/// off, no later k can win.
///
/// leading  the largest eigenvalues, descending
/// returns the k of the smallest Q, the first of equals; empty where more eigenvalues are needed
///
/// Source: M. Wax and T. Kailath, Detection of signals by information theoretic criteria, IEEE
/// Trans. Acoust., Speech, Signal Process. 33(2), 1985.
std::optional<int> countSignals(const EigenvalueSums& sums, std::span<const double> leading);

}  // namespace flightpath
