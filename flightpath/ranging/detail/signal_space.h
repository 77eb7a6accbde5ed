#pragma once

#include <optional>
#include <span>
#include <vector>

#include "flightpath/ranging/detail/count_search.h"
#include "flightpath/ranging/detail/leading_eigenpairs.h"
#include "flightpath/toolbox/detail/small_matrices.h"

namespace flightpath {

/// The tuning of a signal space's solver. The defaults are the best of those that
/// bench/tuning_bench.cpp compares (ValueTolerance, FirstWidth).
///
/// valueTolerance  an eigenvalue that only the criterion looks at is good when C v - theta v is at
///                 most this part of theta: its error is the square of that
/// firstWidth      width of the block that the iteration starts with
struct SignalSpaceTuning {
  double valueTolerance = 3e-2;
  int firstWidth = 6;
};

/// The signals in a covariance: how many there are, and their eigenpairs.
///
/// It works on the real form of the covariance, and looks for no more eigenpairs than it takes to tell
/// the count. Where a block iteration would take more products than the matrix has columns, which is what
/// a decomposition costs, it is left for one: of the largest eigenpairs alone.
class SignalSpace {
 public:
  /// order      of the real form
  /// rank       the most that the covariance can have, the length of the subvectors
  /// snapshots  how many rows the covariance is the mean of
  SignalSpace(int order, int rank, int snapshots, const SignalSpaceTuning& tuning = {});

  /// Counts the signals and solves their eigenpairs. The matrix must outlive their use.
  int count(std::span<const double> matrix);

  /// Solves the leading eigenpairs, `wanted` of them or as many as there are; returns how many.
  int take(std::span<const double> matrix, int wanted);

  /// Eigenvalue k, descending, and its eigenvector, of those that were counted or taken.
  double value(int k) const;
  std::span<const double> vector(int k) const;

 private:
  void start(std::span<const double> matrix);
  std::optional<double> logDeterminant();
  std::optional<int> countByIteration(const EigenvalueSums& sums);
  int countByDecomposition(const std::optional<EigenvalueSums>& sums);
  std::optional<int> currentCount(const EigenvalueSums& sums);
  bool iterate();
  double worstResidual(int numPairs) const;
  int takeByDecomposition(int wanted);

  int order_;
  int rank_;
  int snapshots_;
  SignalSpaceTuning tuning_;
  std::span<const double> matrix_;
  LeadingEigenpairs pairs_;
  LeadingDecomposition decomposed_;
  std::vector<double> factor_;  // Cholesky factor
  std::vector<double> leading_;
  double trace_ = 0.0;
  int products_ = 0;
  bool isDecomposed_ = false;
};

}  // namespace flightpath
