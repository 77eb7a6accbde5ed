#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace support {

/// 0-based position of the first of the elements that come before all others, NaNs left out; 0
/// where there is no number.
template <class T, class Before>
std::size_t slowFirstBest(const std::vector<T>& x, Before before) {
  for (std::size_t k = 0; k < x.size(); ++k) {
    const bool beaten =
        std::ranges::any_of(x, [&](T other) { return !std::isnan(other) && before(other, x[k]); });
    if (!std::isnan(x[k]) && !beaten) {
      return k;
    }
  }
  return 0;
}

}  // namespace support
