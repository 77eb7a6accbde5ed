#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace flightpath {

/// H x = b for the small symmetric matrices of a Gauss-Newton step, whose elements may differ by many
/// orders: H is brought to a unit diagonal before it is factored.
class NormalEquations {
 public:
  explicit NormalEquations(int mostRows);

  /// Factors H + damping diag(H), n x n without gaps. False where H is singular numerically.
  bool factor(std::span<const double> H, int n, double damping = 0.0);

  /// b := H^-1 b
  void solve(double* b) const;

 private:
  int n_ = 0;
  std::vector<double> factor_;  // column-major
  std::vector<double> scales_;  // of the rows and columns
};

}  // namespace flightpath
