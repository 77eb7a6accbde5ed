#include "flightpath/line_of_sight/detail/tail_model.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <numeric>
#include <stdexcept>

#include "flightpath/toolbox/detail/lapack.h"

namespace flightpath {
namespace {

using Vector = std::vector<Complex>;

Complex covariance(const ToneSet& tones, double decay, std::size_t k, std::size_t l) {
  const double x = 2.0 * std::numbers::pi * (tones.centred()[k] - tones.centred()[l]) * decay;
  const double power = tones.rootsOfWeights()[k] * tones.rootsOfWeights()[l] / (1.0 + x * x);
  return {power, -x * power};
}

/// The next column of Cholesky's factor, for this pivot, behind the rows that are finished.
void addColumn(const ToneSet& tones, double decay, std::size_t pivot, SplitRows& columns) {
  const auto n = static_cast<std::size_t>(columns.length);
  columns.re.resize(columns.re.size() + n);
  columns.im.resize(columns.im.size() + n);
  const SplitTarget column = columns.target(columns.count);
  for (std::size_t k = 0; k < n; ++k) {
    const Complex value = covariance(tones, decay, k, pivot);
    column.re[k] = value.real();
    column.im[k] = value.imag();
  }
  for (int i = 0; i < columns.count; ++i) {
    const SplitVector finished = columns.row(i);
    const Complex factor = {finished.re[pivot], -finished.im[pivot]};
    subtractMultiple(columns.length, factor, finished, column.re, column.im);
  }
  const double root = std::sqrt(column.re[pivot]);
  for (std::size_t k = 0; k < n; ++k) {
    column.re[k] /= root;
    column.im[k] /= root;
  }
  ++columns.count;
}

/// Columns whose sum of outer products is R, but for a remainder of a trace below `tolerance`: Cholesky's
/// factor, at each step the column of the largest element that is left on the diagonal.
SplitRows pivotedFactor(const ToneSet& tones, double decay, double tolerance) {
  const auto n = static_cast<std::size_t>(tones.count());
  std::vector<double> left;
  for (const double root : tones.rootsOfWeights()) {
    left.push_back(root * root);
  }
  SplitRows columns(0, tones.count());
  while (columns.count < columns.length && std::reduce(left.begin(), left.end()) > tolerance) {
    const auto pivot = static_cast<std::size_t>(std::ranges::max_element(left) - left.begin());
    addColumn(tones, decay, pivot, columns);
    const SplitVector column = columns.row(columns.count - 1);
    for (std::size_t k = 0; k < n; ++k) {
      const double taken = column.re[k] * column.re[k] + column.im[k] * column.im[k];
      left[k] = std::max(0.0, left[k] - taken);
    }
    left[pivot] = 0.0;
  }
  return columns;
}

/// L^H L, column-major, its lower triangle.
Vector gramMatrix(const SplitRows& columns) {
  const auto r = static_cast<std::size_t>(columns.count);
  Vector gram(r * r);
  for (int j = 0; j < columns.count; ++j) {
    for (int i = j; i < columns.count; ++i) {
      gram[static_cast<std::size_t>(j) * r + static_cast<std::size_t>(i)] =
          conjugateDot(columns.length, columns.row(i), columns.row(j));
    }
  }
  return gram;
}

}  // namespace

/// R = L L^H has the eigenvectors L v / |L v| of the smaller L^H L, which has eigenvectors v and the same
/// eigenvalues.
TailModel tailModel(const ToneSet& tones, double decay, double leastEigenvalue) {
  const SplitRows columns = pivotedFactor(tones, decay, 0.5 * leastEigenvalue);
  const auto r = static_cast<std::size_t>(columns.count);
  Vector gram = gramMatrix(columns);
  std::vector<double> values(r);
  if (lapack::hermitianEigen(columns.count, gram.data(), values.data()) != 0) {
    throw std::runtime_error("LineOfSight: the eigenvalues of a tail did not converge");
  }
  const auto rank = values.end() - std::ranges::lower_bound(values, leastEigenvalue);
  TailModel model{decay, {}, SplitRows(static_cast<int>(rank), tones.count()), {}};
  for (int j = 0; j < model.vectors.count; ++j) {
    const std::size_t from = r - 1 - static_cast<std::size_t>(j);
    const SplitTarget u = model.vectors.target(j);
    for (int i = 0; i < columns.count; ++i) {
      const Complex v = gram[from * r + static_cast<std::size_t>(i)];
      subtractMultiple(columns.length, -v / std::sqrt(values[from]), columns.row(i), u.re, u.im);
    }
    Complex steered;
    for (std::size_t k = 0; k < tones.rootsOfWeights().size(); ++k) {
      steered += tones.rootsOfWeights()[k] * Complex(u.re[k], -u.im[k]);
    }
    model.eigenvalues.push_back(values[from]);
    model.steered.push_back(steered);
  }
  return model;
}

}  // namespace flightpath
