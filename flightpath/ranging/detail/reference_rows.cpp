#include "flightpath/ranging/detail/reference_rows.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>
#include <span>

#include "flightpath/likelihood/complex_products.h"
#include "flightpath/ranging/detail/row_samples.h"

namespace flightpath {
namespace {

/// Steps of the power iteration. Each one shrinks what a minority of other rows adds by the quotient of
/// their numbers; a start from the wrong one of three is within 1e-6 of the right direction then.
constexpr int numSteps = 24;

/// Times the median absolute deviation: the standard deviation of normal residuals.
constexpr double deviationsPerMedian = 1.4826;
constexpr double mostDeviations = 5.0;

/// What single precision leaves of the residuals of rows without noise.
constexpr double leastResidual = 1e-12;

bool isFinite(Complex z) { return std::isfinite(z.real()) && std::isfinite(z.imag()); }

double energy(std::span<const Complex> row) {
  return std::accumulate(row.begin(), row.end(), 0.0,
                         [](double sum, Complex z) { return sum + std::norm(z); });
}

void toUnitLength(std::span<Complex> row) {
  const double length = std::sqrt(energy(row));
  std::ranges::for_each(row, [length](Complex& z) { z /= length; });
}

/// The sum of conj(a) b
Complex inner(std::span<const Complex> a, std::span<const Complex> b) {
  Complex sum;
  for (std::size_t k = 0; k < a.size(); ++k) {
    sum += conjugateTimes(a[k], b[k]);
  }
  return sum;
}

/// The upper one of two.
double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

double farthest(const std::vector<double>& residuals) {
  const double middle = median(residuals);
  std::vector<double> distances = residuals;
  for (double& distance : distances) {
    distance = std::fabs(distance - middle);
  }
  const double deviation = deviationsPerMedian * median(distances);
  return std::max({middle + mostDeviations * deviation, 2.0 * middle, leastResidual});
}

}  // namespace

ReferenceRows::ReferenceRows(const CsiRows& rows, std::size_t numRows)
    : numTones_(rows.samplesPerRow()) {
  std::vector<std::size_t> positions(numTones_);
  std::iota(positions.begin(), positions.end(), std::size_t{0});
  std::vector<double> re(numTones_);
  std::vector<double> im(numTones_);
  for (std::size_t r = 0; r < numRows; ++r) {
    readRow(rows, r, positions, re, im);
    const double scale = powerOfTwoScale(re, im);  // squares then stay within their range
    Row& row = rows_.emplace_back();
    std::ranges::transform(re, im, std::back_inserter(row),
                           [scale](double x, double y) { return Complex(scale * x, scale * y); });
  }
  clearDeadTones();
  dropUnusable();
}

void ReferenceRows::clearDeadTones() {
  std::erase_if(rows_, [](const Row& row) {
    return std::ranges::none_of(row, [](Complex z) { return isFinite(z) && z != Complex(); });
  });
  for (std::size_t k = 0; k < numTones_; ++k) {
    const auto numBad =
        std::ranges::count_if(rows_, [k](const Row& row) { return !isFinite(row[k]); });
    if (2 * static_cast<std::size_t>(numBad) > rows_.size()) {
      std::ranges::for_each(rows_, [k](Row& row) { row[k] = 0.0; });
    }
  }
}

void ReferenceRows::dropUnusable() {
  std::erase_if(rows_, [](const Row& row) {
    return !std::ranges::all_of(row, isFinite) || !(energy(row) > 0.0);
  });
  std::ranges::for_each(rows_, toUnitLength);
}

/// The power iteration.
std::vector<Complex> ReferenceRows::mean() const {
  Row mean = rows_.front();
  for (int step = 0; step < numSteps; ++step) {
    Row next(numTones_);
    for (const Row& row : rows_) {
      const Complex likeness = inner(row, mean);
      std::ranges::transform(next, row, next.begin(), [likeness](Complex sum, Complex z) {
        return sum + times(likeness, z);
      });
    }
    toUnitLength(next);
    mean = std::move(next);
  }
  return mean;
}

/// The part of each row's power that the mean does not explain.
std::vector<double> ReferenceRows::residuals() const {
  const Row common = mean();
  std::vector<double> parts;
  for (const Row& row : rows_) {
    parts.push_back(1.0 - std::norm(inner(common, row)));
  }
  return parts;
}

void ReferenceRows::dropOutliers() {
  const std::vector<double> parts = residuals();
  const double limit = farthest(parts);
  auto part = parts.begin();
  std::erase_if(rows_, [&](const Row&) { return *part++ > limit; });
}

}  // namespace flightpath
