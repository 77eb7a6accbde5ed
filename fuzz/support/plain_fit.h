#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "flightpath/ranging/path_set.h"
#include "fuzz/support/likelihood_batch.h"
#include "tests/support/slow_likelihood.h"

namespace fuzz {

/// An answer by maximum likelihood beside the dense vectors that it is the fit of. Delays are per
/// stride of the tones, samples and weights scaled by powers of two to a largest of 1 ... 2.
///
/// Every requirement is a property of the answer itself: how it was found plays no part.
class PlainFit {
 public:
  /// rows  those of the estimate: finite, not all zero, of two tones or more
  PlainFit(const RangingOptions& options, std::uint32_t N, std::span<const Row> rows,
           const flightpath::Estimate& answer);

  /// Whether neither samples nor weights are so large or small that the answer's own numbers leave
  /// the range of a double. Nothing else below may be asked of others.
  bool isInRange() const;

  /// BOUND: S^H (y - S x) = 0, to the rounding of its terms, whatever the condition of S.
  void requireLeastSquares() const;

  /// BOUND: the residual's energy over the degrees of freedom left, to the rounding of the residual;
  /// the decibels of both powers.
  void requirePowers() const;

  /// BOUND: covariances times the Fisher information are 1. Left out where rounding of the
  /// information, magnified by its inverse, comes to a hundredth: two delays that one shape explains.
  void requireCovariances() const;

  /// MODEL: a tenth of a deviation to either side of each delay, the others kept, the cost is no
  /// lower. Left out where the samples have next to no noise, where paths lie within half a cell or are
  /// more than eight, and at the ends of the window.
  void requireMinimum() const;

  /// BOUND: for one path alone, the cost at the ends of the interval is Student's limit.
  void requireInterval() const;

  /// MODEL: the cost is no higher than at these delays, per index.
  void requireNoMoreThanAt(const std::vector<double>& frequencies) const;

 private:
  std::size_t numPaths() const { return f_.size(); }
  double cell() const;
  double degreesLeft() const;
  bool areApart(double cells) const;
  bool isResolved(double distance, std::size_t p) const;
  double steeringError(std::size_t p) const;
  support::ComplexVector residual(std::size_t row) const;
  double meanPower(std::size_t p) const;
  std::vector<support::ComplexVector> projectedDerivatives() const;
  std::vector<double> information(const std::vector<support::ComplexVector>& derivatives) const;
  void requireNoLowerBeside(std::size_t p, double step, double cost) const;
  void requireEnd(double end_m, double limit) const;

  RangingOptions options_;
  flightpath::Estimate answer_;
  double stride_;
  double period_m_;  // the unambiguous range
  int exponent_;     // of the samples
  int weightExponent_;
  support::SlowLikelihood model_;
  std::vector<double> f_;
  std::vector<support::ComplexVector> x_;  // of each row
  double noise_;
};

}  // namespace fuzz
