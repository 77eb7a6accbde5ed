#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "flightpath/runtime/array.h"
#include "tests/support/slow_arrays.h"

/// Arrays as the library may meet them: without room behind the last element, or used before.
namespace fuzz {

/// A column in a buffer without one element to spare, so that the address sanitizer sees every
/// access outside of it.
template <class T>
coder::array<T, 1> tightColumn(const std::vector<T>& values) {
  auto a = support::fullArray<coder::array<T, 1>>(static_cast<std::int32_t>(values.size()));
  std::ranges::copy(values, a.begin());
  return a;
}

/// rows x cols, the values in storage order, without an element to spare.
template <class T>
coder::array<T, 2> tightMatrix(std::int32_t rows, std::int32_t cols, const std::vector<T>& values) {
  auto a = support::fullArray<coder::array<T, 2>>(rows * cols);
  a.size[0] = rows;
  a.size[1] = cols;
  std::ranges::copy(values, a.begin());
  return a;
}

/// An output that was used before: any length, numbered elements.
template <class A>
A usedArray(FuzzedDataProvider& in) {
  A a = support::fullArray<A>(in.ConsumeIntegralInRange(0, 40));
  if (in.ConsumeBool()) {
    support::resize(a, in.ConsumeIntegralInRange(0, a.numel));
  }
  return a;
}

}  // namespace fuzz
