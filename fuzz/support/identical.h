#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <vector>

#include "flightpath/runtime/array.h"

/// For values that were kept or moved, not computed: the very bits, those of a NaN too.
namespace fuzz {

template <class T>
bool identical(T a, T b) {
  using Bytes = std::array<std::byte, sizeof(T)>;
  return std::bit_cast<Bytes>(a) == std::bit_cast<Bytes>(b);
}

/// As many elements, each identical to its counterpart.
template <class T>
testing::AssertionResult identical(const coder::array<T, 1>& got, const std::vector<T>& expected) {
  if (static_cast<std::size_t>(got.numel) != expected.size() || got.size[0] != got.numel) {
    return testing::AssertionFailure() << got.numel << " elements, not " << expected.size();
  }
  const auto [element, other] =
      std::ranges::mismatch(got, expected, [](T a, T b) { return identical(a, b); });
  if (element != got.end()) {
    return testing::AssertionFailure()
           << "element " << element - got.begin() << " is " << testing::PrintToString(*element)
           << ", not " << testing::PrintToString(*other);
  }
  return testing::AssertionSuccess();
}

}  // namespace fuzz
