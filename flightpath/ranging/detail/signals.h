#pragma once

#include <span>

#include "flightpath/ranging/detail/sample_block.h"

namespace flightpath {

/// A signal's eigenvector is good when C v - theta v is this part of theta: the path moves by less
/// than a hundredth of a fine step.
constexpr double eigenvectorTolerance = 1e-6;

/// The matrix is numerically singular where a Cholesky pivot is below the largest diagonal element
/// times this, or where the signals leave less of the trace than this part.
constexpr double singularPivot = 1e-13;

/// The signals in the smoothed covariance of one estimate: how many, and their eigenpairs.
class Signals {
 public:
  virtual ~Signals() = default;

  /// Counts the signals of these samples and solves their eigenpairs.
  virtual int count(const SampleBlock& samples) = 0;

  /// Solves the leading eigenpairs, `wanted` of them or as many as there are; returns how many.
  virtual int take(const SampleBlock& samples, int wanted) = 0;

  /// Eigenvalue k, descending, and its unit eigenvector, of those that were counted or taken.
  virtual double value(int k) const = 0;
  virtual void eigenvector(int k, std::span<double> re, std::span<double> im) = 0;

 protected:
  Signals() = default;
  Signals(const Signals&) = default;
  Signals& operator=(const Signals&) = default;
};

}  // namespace flightpath
