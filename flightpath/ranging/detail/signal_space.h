#pragma once

#include <optional>
#include <span>
#include <vector>

#include "flightpath/ranging/detail/count_search.h"
#include "flightpath/ranging/detail/leading_eigenpairs.h"

namespace flightpath {

/// The tuning of a signal space's solver. The defaults are the best of those that
/// bench/tuning_bench.cpp compares (ValueTolerance, FirstWidth, RoughFactor).
///
/// valueTolerance  an eigenvalue that only the criterion looks at is good when C v - theta v is at
///                 most this part of theta: its error is the square of that
/// firstWidth      width of the block that the iteration starts with
/// roughOrder      from this order on the factorisation, the one step that takes the cube of it, is
///                 tried in single precision first: half the time, and precise enough to say when the
///                 count search may stop, as long as the pivots stay clear of single-precision rounding
/// roughPivot      the least such pivot, as a part of the largest diagonal element
/// roughSlack      how far off the logarithm of the determinant may then be, in orders: what a step of
///                 the penalty is worth
struct SignalSpaceTuning {
  double valueTolerance = 3e-2;
  int firstWidth = 6;
  int roughOrder = 256;
  double roughPivot = 3e-5;
  double roughSlack = 0.05;
};

/// The signals in a covariance: how many there are, and their eigenpairs.
///
/// It works on the real form of the covariance, and looks for no more eigenpairs than it takes to tell
/// the count.
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
  std::optional<EigenvalueSums> sumsByCholesky();
  template <class Real>
  std::optional<double> logDeterminant(std::vector<Real>& factor, double smallestPivot);
  void decomposeFully();
  int countFully();
  int countByIteration(const EigenvalueSums& sums);
  std::optional<int> currentCount(const EigenvalueSums& sums);
  bool converged(int numPairs) const;

  int order_;
  int rank_;
  int snapshots_;
  SignalSpaceTuning tuning_;
  std::span<const double> matrix_;
  LeadingEigenpairs pairs_;
  std::vector<float> roughFactor_;   // Cholesky factor in single precision
  std::vector<double> factor_;       // Cholesky factor, or all eigenvectors
  std::vector<double> eigenvalues_;  // all of them, ascending, where they were needed
  std::vector<double> lapackWork_;
  std::vector<double> leading_;
  bool solvedFully_ = false;
};

}  // namespace flightpath
