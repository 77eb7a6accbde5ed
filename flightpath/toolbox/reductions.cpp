#include "flightpath/toolbox/reductions.h"

#include <algorithm>
#include <numeric>

#include "flightpath/runtime/detail/view.h"
#include "flightpath/runtime/nonfinite.h"
#include "flightpath/toolbox/detail/reductions.h"

namespace flightpath {
namespace {

float leftToRight(std::span<const float> x) {
  return std::accumulate(x.begin() + 1, x.end(), x.front());
}

/// total(i) := the sum over columns first ... last - 1 of x(i, :), added left to right.
void addColumns(const coder::array<float, 2>& x, std::int64_t first, std::int64_t last,
                std::span<float> total) {
  std::ranges::copy(column(x, first), total.begin());
  for (std::int64_t j = first + 1; j < last; ++j) {
    std::ranges::transform(total, column(x, j), total.begin(), std::plus<float>());
  }
}

}  // namespace

float blockedSum(std::span<const float> x) {
  if (x.empty()) {
    return 0.0F;
  }
  float total = leftToRight(x.first(std::min(x.size(), summationBlock)));
  for (std::size_t start = summationBlock; start < x.size(); start += summationBlock) {
    total += leftToRight(x.subspan(start, std::min(x.size() - start, summationBlock)));
  }
  return total;
}

}  // namespace flightpath

namespace coder {

float blockedSummation(const array<float, 1>& x, int vlen) {
  const int n = std::clamp(vlen, 0, x.numel);
  return flightpath::blockedSum(flightpath::elements(x).first(static_cast<std::size_t>(n)));
}

void sum(const array<float, 2>& x, array<float, 1>& y) {
  constexpr std::int64_t block = flightpath::summationBlock;
  const std::int64_t numColumns = x.size[1];
  y.set_size(x.size[0]);
  if (numColumns == 0 || y.numel == 0) {
    std::fill(y.begin(), y.end(), 0.0F);
    return;
  }
  flightpath::addColumns(x, 0, std::min(numColumns, block), flightpath::elements(y));
  array<float, 1> partial;
  for (std::int64_t first = block; first < numColumns; first += block) {
    partial.set_size(y.numel);
    flightpath::addColumns(x, first, std::min(first + block, numColumns),
                           flightpath::elements(partial));
    std::transform(y.begin(), y.end(), partial.begin(), y.begin(), std::plus<float>());
  }
}

namespace internal {

float maximum(const array<float, 1>& x, int& idx) {
  const std::size_t best = flightpath::positionOfLargest(flightpath::elements(x));
  idx = static_cast<int>(best) + 1;
  return x.numel > 0 ? x.data[best] : rtNaNF;
}

double minimum(const array<double, 1>& x) {
  const std::size_t best = flightpath::positionOfSmallest(flightpath::elements(x));
  return x.numel > 0 ? x.data[best] : rtNaN;
}

}  // namespace internal
}  // namespace coder
