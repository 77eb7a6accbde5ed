#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <vector>

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"

/// The comparison of the class EXACT: the same bits, any NaN counting as equal to any NaN.
namespace support {

inline bool sameBits(float a, float b) {
  return (a != a && b != b) || std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b);
}

inline bool sameBits(double a, double b) {
  return (a != a && b != b) || std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

inline bool sameBits(int a, int b) { return a == b; }

inline bool sameBits(creal32_T a, creal32_T b) {
  return sameBits(a.re, b.re) && sameBits(a.im, b.im);
}

inline testing::AssertionResult sameBits(const std::vector<double>& a,
                                         const std::vector<double>& b) {
  if (a.size() != b.size()) {
    return testing::AssertionFailure() << a.size() << " and " << b.size() << " numbers";
  }
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (!sameBits(a[i], b[i])) {
      return testing::AssertionFailure() << "number " << i << " differs: " << a[i] << ", " << b[i];
    }
  }
  return testing::AssertionSuccess();
}

/// Shapes and elements; the message names the first element that differs.
template <class T, int N>
testing::AssertionResult sameBits(const coder::array<T, N>& a, const coder::array<T, N>& b) {
  for (int d = 0; d < N; ++d) {
    if (a.size[d] != b.size[d]) {
      return testing::AssertionFailure()
             << "extent " << d << " is " << a.size[d] << " and " << b.size[d];
    }
  }
  for (std::int32_t i = 0; i < a.numel; ++i) {
    if (!sameBits(a[i], b[i])) {
      return testing::AssertionFailure()
             << "element " << i << " of " << a.numel << " differs: " << testing::PrintToString(a[i])
             << " and " << testing::PrintToString(b[i]);
    }
  }
  return testing::AssertionSuccess();
}

}  // namespace support
