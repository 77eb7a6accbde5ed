#include "flightpath/likelihood/normal_equations.h"

#include <cmath>

#include "flightpath/toolbox/detail/small_matrices.h"

namespace flightpath {
namespace {

/// Pivots of a matrix with a unit diagonal; below this they are rounding.
constexpr double leastPivot = 1e-12;

}  // namespace

NormalEquations::NormalEquations(int mostRows)
    : factor_(static_cast<std::size_t>(mostRows) * static_cast<std::size_t>(mostRows)),
      scales_(static_cast<std::size_t>(mostRows)) {}

bool NormalEquations::factor(std::span<const double> H, int n, double damping) {
  n_ = n;
  const auto rows = static_cast<std::size_t>(n);
  for (std::size_t i = 0; i < rows; ++i) {
    if (!(H[i * rows + i] > 0.0)) {
      return false;
    }
    scales_[i] = 1.0 / std::sqrt(H[i * rows + i]);
  }
  for (std::size_t j = 0; j < rows; ++j) {
    for (std::size_t i = 0; i < rows; ++i) {
      factor_[j * rows + i] = i == j ? 1.0 + damping : scales_[i] * scales_[j] * H[j * rows + i];
    }
  }
  return choleskyFactor(n, factor_.data()) &&
         logDeterminant(n, factor_.data(), leastPivot).has_value();
}

void NormalEquations::solve(double* b) const {
  const auto n = static_cast<std::size_t>(n_);
  for (std::size_t i = 0; i < n; ++i) {
    b[i] *= scales_[i];
    for (std::size_t l = 0; l < i; ++l) {
      b[i] -= factor_[l * n + i] * b[l];
    }
    b[i] /= factor_[i * n + i];
  }
  for (std::size_t i = n; i-- > 0;) {
    for (std::size_t l = i + 1; l < n; ++l) {
      b[i] -= factor_[i * n + l] * b[l];
    }
    b[i] /= factor_[i * n + i];
  }
  for (std::size_t i = 0; i < n; ++i) {
    b[i] *= scales_[i];
  }
}

}  // namespace flightpath
