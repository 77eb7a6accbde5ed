#pragma once

#include <optional>
#include <span>
#include <vector>

namespace flightpath {

/// Eigenvalues below the largest times this are rounding of single-precision samples.
constexpr double roundingOfSamples = 0x1p-24;

/// What the criterion needs of all eigenvalues together.
struct EigenvalueSums {
  int count;              // m, how many there are, all above 0
  int snapshots;          // S, how many rows the covariance is the mean of
  double trace;           // their sum
  double logDeterminant;  // the sum of their logarithms
};

/// The signal count of the criterion from the largest eigenvalues alone.
///
///   Q(k) = (2m - k + 1) k / 2 + S (m - k) log(AM / GM) of the m - k smallest
///
/// AM and GM follow from the sums, less what the k largest contribute. The sum of the logarithms is
/// the same in every Q(k): it has no part in which is smallest, only in when to stop. The
/// likelihood term is never negative, so once the penalty alone reaches the best Q, no later k can
/// win.
///
/// leading  the largest eigenvalues, descending
/// returns the k of the smallest Q, the first of equals; empty where more eigenvalues are needed
///
/// Source: M. Wax and T. Kailath, Detection of signals by information theoretic criteria, IEEE
/// Trans. Acoust., Speech, Signal Process. 33(2), 1985.
std::optional<int> countSignals(const EigenvalueSums& sums, std::span<const double> leading);

/// What the criterion needs of all eigenvalues together where their logarithms are not known.
struct EigenvalueBounds {
  int count;       // m, how many there are, all above 0
  int snapshots;   // S
  double trace;    // their sum
  double next;     // the largest after the leading ones is at most this
  double squares;  // the sum of their squares, after the leading ones, is at most this
};

/// The same count, by the most that the eigenvalues that were not solved can still do.
///
/// Let n be how many eigenvalues come after the leading ones, and T their sum. With j more signals,
/// which hold the share phi of T, Q falls only where
///
///   S (-n log(1 - phi) - n log(n / (n - j))) > j n - j (j - 1) / 2
///
/// On the left is the fall of the likelihood term if the j are all alike and so are the others,
/// which is the most that it can be; on the right is what they are charged. With one row, that
/// takes phi > 63 % for one signal, 86 % for two. But phi is at most j next / T, and at most sqrt(j
/// squares) / T by Cauchy and Schwarz.
///
/// No phi can lower Q by more than S n log(AM / GM), which is taken to be at most 30 n: with one
/// row, a geometric mean 130 dB below the arithmetic one. So no more than some 30 values of j need
/// be tried.
///
/// returns the k of the smallest Q, the first of equals; empty where more eigenvalues are needed
std::optional<int> countSignals(const EigenvalueBounds& bounds, std::span<const double> leading);

/// The best of the counts 0, 1, ... up to the number of leading eigenvalues, whatever is beyond.
///
/// m  how many eigenvalues there are
int countAmongLeading(int m, int snapshots, double trace, std::span<const double> leading);

/// The same count where the matrix is numerically singular: what is below the rounding of the
/// samples counts as equal to it.
///
/// m        how many eigenvalues take part
/// leading  all above that rounding, descending; what is below it is dropped
int countAboveRounding(int m, int snapshots, std::vector<double>& leading);

}  // namespace flightpath
