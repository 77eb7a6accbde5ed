#include "flightpath/ranging/detail/leading_eigenpairs.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "flightpath/toolbox/detail/small_matrices.h"

namespace flightpath {
namespace {

// A block of more columns than this costs what a full decomposition does at the orders where it would
// be needed: bench/tuning_bench.cpp, ForcedCount.
constexpr int mostWidth = 64;

/// Past this a full decomposition is the better way.
int widest(int order) { return std::clamp(order / 2, 1, mostWidth); }

std::size_t area(int rows, int cols) {
  return static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols);
}

void subtract(double factor, const double* from, double* to, int n) {
  for (int i = 0; i < n; ++i) {
    to[i] -= factor * from[i];
  }
}

}  // namespace

LeadingEigenpairs::LeadingEigenpairs(int order, int firstWidth)
    : order_(order), firstWidth_(firstWidth) {
  const int most = widest(order);
  Q_.resize(area(order, most));
  CQ_.resize(Q_.size());
  rotated_.resize(Q_.size());
  T_.resize(area(most, most));
  small_.resize(area(3 * most, 1));
  ascending_.resize(area(most, 1));
  values_.resize(ascending_.size());
  residuals_.resize(ascending_.size());
}

double* LeadingEigenpairs::columnOf(std::vector<double>& block, int k) {
  return block.data() + area(order_, k);
}

std::span<const double> LeadingEigenpairs::vector(int k) const {
  return {Q_.data() + area(order_, k), static_cast<std::size_t>(order_)};
}

/// Columns of the next basis from `first` on: C times numbers without structure, the same for every
/// matrix. Columns of C itself would do as little, but miss whole subspaces of a matrix in blocks, which
/// real samples give.
void LeadingEigenpairs::seed(int first) {
  std::uint64_t state = 0x9E3779B97F4A7C15ULL + static_cast<std::uint64_t>(first);
  for (double* q = columnOf(Q_, first); q != columnOf(Q_, width_); ++q) {
    state = state * 6364136223846793005ULL + 1442695040888963407ULL;
    *q = static_cast<double>(state >> 11) * 0x1p-52 - 1.0;
  }
  multiply(order_, width_ - first, order_, matrix_.data(), columnOf(Q_, first),
           columnOf(CQ_, first));
}

void LeadingEigenpairs::start(std::span<const double> matrix) {
  matrix_ = matrix;
  width_ = std::min(widest(order_), firstWidth_);
  seed(0);
  // Another product before the first projection costs less than a step.
  Q_.swap(CQ_);
  multiply(order_, width_, order_, matrix_.data(), Q_.data(), CQ_.data());
}

bool LeadingEigenpairs::widen() {
  const int most = widest(order_);
  if (width_ >= most) {
    return false;
  }
  const int before = width_;
  width_ = std::min(2 * width_, most);
  seed(before);
  return true;
}

void LeadingEigenpairs::step() {
  Q_.swap(CQ_);  // C Q of the step before, or the seed
  orthonormalise();
  project();
  rotateToRitz();
}

/// Modified Gram-Schmidt, each column twice: the columns of C Q point much the same way.
void LeadingEigenpairs::orthonormalise() {
  for (int k = 0; k < width_; ++k) {
    double* const q = columnOf(Q_, k);
    for (int pass = 0; pass < 2; ++pass) {
      for (int j = 0; j < k; ++j) {
        subtract(dot(columnOf(Q_, j), q, order_), columnOf(Q_, j), q, order_);
      }
      const double norm = std::sqrt(dot(q, q, order_));
      const double scale = norm > 0.0 ? 1.0 / norm : 0.0;
      std::for_each(q, q + order_, [scale](double& value) { value *= scale; });
    }
  }
}

/// T := Q^T C Q
void LeadingEigenpairs::project() {
  multiply(order_, width_, order_, matrix_.data(), Q_.data(), CQ_.data());
  for (int j = 0; j < width_; ++j) {
    for (int i = 0; i <= j; ++i) {
      const double t = dot(columnOf(Q_, i), columnOf(CQ_, j), order_);
      T_[area(width_, j) + static_cast<std::size_t>(i)] = t;
      T_[area(width_, i) + static_cast<std::size_t>(j)] = t;
    }
  }
}

/// Q := Q Z and C Q := C Q Z with T = Z diag(theta) Z^T, largest first.
void LeadingEigenpairs::rotateToRitz() {
  symmetricEigen(width_, T_.data(), ascending_.data(), small_.data());
  std::reverse_copy(ascending_.begin(), ascending_.begin() + width_, values_.begin());
  for (int front = 0, back = width_ - 1; front < back; ++front, --back) {
    double* const vector = T_.data() + area(width_, front);
    std::swap_ranges(vector, vector + width_, T_.data() + area(width_, back));
  }
  multiply(order_, width_, width_, Q_.data(), T_.data(), rotated_.data());
  Q_.swap(rotated_);
  multiply(order_, width_, width_, CQ_.data(), T_.data(), rotated_.data());
  CQ_.swap(rotated_);
  for (int k = 0; k < width_; ++k) {
    const double* const v = columnOf(Q_, k);
    const double* const Cv = columnOf(CQ_, k);
    double sum = 0.0;
    for (int i = 0; i < order_; ++i) {
      const double r = Cv[i] - value(k) * v[i];
      sum += r * r;
    }
    residuals_[static_cast<std::size_t>(k)] = std::sqrt(sum);
  }
}

}  // namespace flightpath
