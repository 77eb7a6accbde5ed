#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <vector>

namespace support {

/// The 1-based positions in sorted order: numbers by the standard library's stable sort, NaNs kept
/// apart in their order of appearance.
template <class Before>
std::vector<int> sortedPositions(const std::vector<float>& x, Before before, bool nansFirst) {
  std::vector<int> positions(x.size());
  std::iota(positions.begin(), positions.end(), 1);
  const auto value = [&](int p) { return x[static_cast<std::size_t>(p - 1)]; };
  const auto middle = std::stable_partition(
      positions.begin(), positions.end(), [&](int p) { return std::isnan(value(p)) == nansFirst; });
  std::stable_sort(nansFirst ? middle : positions.begin(), nansFirst ? positions.end() : middle,
                   [&](int left, int right) { return before(value(left), value(right)); });
  return positions;
}

}  // namespace support
