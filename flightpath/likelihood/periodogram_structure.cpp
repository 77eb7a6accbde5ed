#include "flightpath/likelihood/periodogram_structure.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>

namespace flightpath {
namespace {

/// The median of the mean of M unit exponentials, by Wilson and Hilferty's cube; exact for one.
double medianOfMean(int M) {
  const double root = 1.0 - 1.0 / (9.0 * M);
  return M == 1 ? std::log(2.0) : root * root * root;
}

}  // namespace

double structureOf(std::span<const float> powers, int numRows, std::span<float> work) {
  std::ranges::copy(powers, work.begin());
  const auto middle = work.begin() + static_cast<std::ptrdiff_t>(work.size() / 2);
  std::ranges::nth_element(work, middle);
  const double mean =
      std::accumulate(powers.begin(), powers.end(), 0.0) / static_cast<double>(powers.size());
  return mean * medianOfMean(numRows) / *middle;
}

}  // namespace flightpath
