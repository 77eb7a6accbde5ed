#pragma once

#include <algorithm>
#include <vector>

#include "tests/support/same_bits.h"

namespace fuzz {

/// As many elements, each with the same bits, any NaN counting as equal to any NaN.
template <class T>
bool sameList(const std::vector<T>& a, const std::vector<T>& b) {
  return std::ranges::equal(a, b, [](T u, T v) { return support::sameBits(u, v); });
}

}  // namespace fuzz
