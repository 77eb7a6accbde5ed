#pragma once

#include <optional>
#include <span>
#include <vector>

#include "flightpath/ranging/detail/count_search.h"
#include "flightpath/ranging/detail/covariance_products.h"
#include "flightpath/ranging/detail/krylov_eigenpairs.h"
#include "flightpath/ranging/detail/signals.h"

namespace flightpath {

/// The signals in a covariance that is never formed: O(N log N) of time, O(N) of memory.
///
/// The count is that of the criterion with all eigenvalues, though only the largest are solved: an
/// eigenvalue that the criterion would count holds a good part of what the larger ones leave (see
/// `countSignals`). What is needed of the others, upper bounds of their largest and of the sum of
/// their squares, comes from the same products, doubled.
///
/// A pseudo-random block misses copies of an eigenvalue that occurs more often than the block has
/// columns. The trace, which is exact, then exceeds what the block estimates, and another block is
/// added.
///
/// Where `mostProducts` do not make the count certain, it is the best of the counts up to what
/// settled.
class LongSignalSpace final : public Signals {
 public:
  /// For `numRows` rows of N samples in subvectors of length L, which is at least 104 where signals
  /// are counted, and at least 44 and mostWanted + 20 where they are taken.
  ///
  /// mostWanted  how many signals will be taken at most; 0 where they will be counted
  ///
  /// Errors: std::bad_alloc.
  LongSignalSpace(int N, int L, int numRows, int mostWanted);

  int count(const SampleBlock& samples) override;
  int take(const SampleBlock& samples, int wanted) override;
  double value(int k) const override { return pairs_.value(k); }
  void eigenvector(int k, std::span<double> re, std::span<double> im) override;

 private:
  std::optional<int> certainCount();
  void keepSettled();
  double errorOfSettled() const;
  bool copiesAreMissed(double unmet, double left, double squares) const;
  bool converged(int numPairs) const;
  bool isRounding(double value) const;

  int rank_;
  int numRows_;
  CovarianceProducts covariance_;
  KrylovEigenpairs pairs_;
  std::vector<double> leading_;
  std::vector<double> vector_;
};

}  // namespace flightpath
