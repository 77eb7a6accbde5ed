#pragma once

#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <numeric>
#include <random>
#include <vector>

/// The likelihood of path delays, plainly: dense vectors, projections by Gram-Schmidt, done twice.
namespace support {

using Complex = std::complex<double>;
using ComplexVector = std::vector<Complex>;

inline Complex innerProduct(const ComplexVector& a, const ComplexVector& b) {
  Complex sum;
  for (std::size_t k = 0; k < a.size(); ++k) {
    sum += std::conj(a[k]) * b[k];
  }
  return sum;
}

inline double squaredNorm(const ComplexVector& a) { return innerProduct(a, a).real(); }

/// v less its part in the space of an orthonormal basis.
inline ComplexVector projectedOff(const std::vector<ComplexVector>& basis, ComplexVector v) {
  for (int pass = 0; pass < 2; ++pass) {
    for (const ComplexVector& q : basis) {
      const Complex part = innerProduct(q, v);
      for (std::size_t k = 0; k < v.size(); ++k) {
        v[k] -= part * q[k];
      }
    }
  }
  return v;
}

struct SlowLikelihood {
  std::vector<int> tones;
  std::vector<double> weights;
  std::vector<ComplexVector> rows;  // one sample per tone, not weighted

  double centred(std::size_t k) const {
    const double sum = std::accumulate(tones.begin(), tones.end(), 0.0);
    return tones[k] - sum / static_cast<double>(tones.size());
  }

  /// sqrt(w) exp(-i 2 pi f c), f per index
  ComplexVector steering(double f) const {
    ComplexVector s;
    for (std::size_t k = 0; k < tones.size(); ++k) {
      const double turns = f * centred(k);
      s.push_back(
          std::polar(std::sqrt(weights[k]), -2.0 * std::numbers::pi * (turns - std::round(turns))));
    }
    return s;
  }

  ComplexVector derivative(double f) const {
    ComplexVector d = steering(f);
    for (std::size_t k = 0; k < d.size(); ++k) {
      d[k] *= Complex(0.0, -2.0 * std::numbers::pi * centred(k));
    }
    return d;
  }

  std::vector<ComplexVector> basis(const std::vector<double>& f) const {
    std::vector<ComplexVector> orthonormal;
    for (const double one : f) {
      ComplexVector q = projectedOff(orthonormal, steering(one));
      const double norm = std::sqrt(squaredNorm(q));
      for (Complex& element : q) {
        element /= norm;
      }
      orthonormal.push_back(q);
    }
    return orthonormal;
  }

  ComplexVector weighted(const ComplexVector& row) const {
    ComplexVector y = row;
    for (std::size_t k = 0; k < y.size(); ++k) {
      y[k] *= std::sqrt(weights[k]);
    }
    return y;
  }

  /// RSS(f)
  double cost(const std::vector<double>& f) const {
    const std::vector<ComplexVector> orthonormal = basis(f);
    double sum = 0.0;
    for (const ComplexVector& row : rows) {
      sum += squaredNorm(projectedOff(orthonormal, weighted(row)));
    }
    return sum;
  }
};

/// A channel over these tones: paths at f per index with random phases in every row, and noise whose
/// power on a tone is noisePower over its weight.
inline SlowLikelihood drawChannel(const std::vector<int>& tones, const std::vector<double>& weights,
                                  const std::vector<double>& f,
                                  const std::vector<double>& amplitudes, double noisePower,
                                  int numRows, std::mt19937_64& random) {
  SlowLikelihood model = {tones, weights, {}};
  if (weights.empty()) {
    model.weights.assign(tones.size(), 1.0);
  }
  std::uniform_real_distribution<double> phase(0.0, 2.0 * std::numbers::pi);
  std::normal_distribution<double> normal;
  for (int m = 0; m < numRows; ++m) {
    ComplexVector row(tones.size());
    for (std::size_t p = 0; p < f.size(); ++p) {
      const double start = phase(random);
      for (std::size_t k = 0; k < row.size(); ++k) {
        row[k] += std::polar(amplitudes[p], start - 2.0 * std::numbers::pi * f[p] * tones[k]);
      }
    }
    for (std::size_t k = 0; k < row.size(); ++k) {
      const double scale = std::sqrt(0.5 * noisePower / model.weights[k]);
      const double re = scale * normal(random);
      row[k] += Complex(re, scale * normal(random));
    }
    model.rows.push_back(row);
  }
  return model;
}

}  // namespace support
