#pragma once

#include <optional>
#include <span>
#include <vector>

#include "flightpath/ranging/detail/count_search.h"
#include "flightpath/ranging/detail/covariance_products.h"
#include "flightpath/ranging/detail/krylov_eigenpairs.h"
#include "flightpath/ranging/detail/signals.h"

namespace flightpath {

/// The signals in a covariance that is never formed: time O(N log N), memory O(N).
///
/// The count is that of the criterion with all eigenvalues, though only the largest are solved, because
/// an eigenvalue that the criterion would count holds most of what is left (see `countSignals`): it
/// stands hundreds of times above the others, and no block of products misses it. What that takes of the
/// other eigenvalues, an upper bound of the largest and of the sum of squares, are estimates from the same
/// products, doubled. A block without structure misses copies of an eigenvalue that stands more often
/// than the block has columns; the trace, which is exact, shows them.
///
/// Where `mostProducts` do not settle the count, it is the best of those that are settled.
class LongSignalSpace final : public Signals {
 public:
  /// For `numRows` rows of N samples in subvectors of length L; `mostWanted` signals will be taken at most.
  ///
  /// Errors: std::bad_alloc.
  LongSignalSpace(int N, int L, int numRows, int mostWanted);

  int count(const SampleBlock& samples) override;
  int take(const SampleBlock& samples, int wanted) override;
  double value(int k) const override { return pairs_.value(k); }
  void eigenvector(int k, std::span<double> re, std::span<double> im) override;

 private:
  EigenvalueBounds bounds(double next, double squares) const;
  std::optional<int> certainCount();
  void keepSettled();
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
