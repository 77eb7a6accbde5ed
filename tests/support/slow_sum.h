#pragma once

#include <cstddef>
#include <vector>

namespace support {

/// Sum in blocks of `block`: every element is sent to its block's total, then the totals are added.
inline float slowBlockedSum(const std::vector<float>& x, std::size_t block) {
  std::vector<float> totals;
  for (std::size_t k = 0; k < x.size(); ++k) {
    if (k % block == 0) {
      totals.push_back(x[k]);
    } else {
      // A double holds more than twice a float's digits, so rounding twice gives what rounding once
      // gives.
      totals.back() = static_cast<float>(static_cast<double>(totals.back()) + x[k]);
    }
  }
  float sum = totals.empty() ? 0.0F : totals.front();
  for (std::size_t b = 1; b < totals.size(); ++b) {
    sum += totals[b];
  }
  return sum;
}

}  // namespace support
