#pragma once

#include <cstddef>
#include <random>
#include <vector>

/// Symmetric matrices whose eigenvalues are known.
namespace support {

/// V diag(values) V^T, V a product of as many random reflections as the order.
inline std::vector<double> withSpectrum(const std::vector<double>& values, unsigned seed) {
  const std::size_t n = values.size();
  std::mt19937_64 random(seed);
  std::normal_distribution<double> normal;
  std::vector<double> A(n * n);
  for (std::size_t i = 0; i < n; ++i) {
    A[i * n + i] = values[i];
  }
  for (std::size_t round = 0; round < n; ++round) {
    std::vector<double> u(n);
    double energy = 0.0;
    for (double& value : u) {
      value = normal(random);
      energy += value * value;
    }
    // (I - 2 u u^T / u^T u) from both sides
    for (const bool rows : {true, false}) {
      for (std::size_t i = 0; i < n; ++i) {
        double sum = 0.0;
        for (std::size_t j = 0; j < n; ++j) {
          sum += u[j] * (rows ? A[i * n + j] : A[j * n + i]);
        }
        for (std::size_t j = 0; j < n; ++j) {
          (rows ? A[i * n + j] : A[j * n + i]) -= 2.0 * sum * u[j] / energy;
        }
      }
    }
  }
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      A[i * n + j] = A[j * n + i];
    }
  }
  return A;
}

}  // namespace support
