#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <type_traits>

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"
#include "tests/support/same_bits.h"

/// Arrays of any rank and element type, filled and looked at one element at a time: element k
/// (counted from 0) is numbered k + 1.
namespace support {

template <class T>
T element(int k) {
  if constexpr (std::is_same_v<T, creal32_T>) {
    return {static_cast<float>(k), static_cast<float>(-k)};
  } else {
    return static_cast<T>(k);
  }
}

template <class T>
void resize(coder::array<T, 1>& a, std::int32_t n) {
  a.set_size(n);
}

template <class T>
void resize(coder::array<T, 2>& a, std::int32_t n) {
  a.set_size(1, n);
}

template <class T, int N>
void setExtents(coder::array<T, N>& a, std::int32_t n) {
  a.size[0] = 1;
  a.size[N - 1] = n;
  a.numel = n;
}

/// Elements first ... last - 1 get the values first + 1 ... last.
template <class T, int N>
void number(coder::array<T, N>& a, int first, int last) {
  for (int k = first; k < last; ++k) {
    a[k] = element<T>(k + 1);
  }
}

template <class T, int N>
testing::AssertionResult isNumbered(const coder::array<T, N>& a, int first, int last) {
  for (int k = first; k < last; ++k) {
    if (!sameBits(a[k], element<T>(k + 1))) {
      return testing::AssertionFailure() << "element " << k;
    }
  }
  return testing::AssertionSuccess();
}

template <class T, int N>
testing::AssertionResult isZero(const coder::array<T, N>& a, int first, int last) {
  for (int k = first; k < last; ++k) {
    if (!sameBits(a[k], element<T>(0))) {
      return testing::AssertionFailure() << "element " << k;
    }
  }
  return testing::AssertionSuccess();
}

/// An owning array whose buffer holds exactly `capacity` elements, all live and numbered.
template <class A>
A fullArray(std::int32_t capacity) {
  A a;
  if (capacity > 0) {
    using T = std::remove_pointer_t<decltype(a.data)>;
    a.data = new T[static_cast<std::size_t>(capacity)];
    a.capacity = capacity;
    a.owner = true;
    setExtents(a, capacity);
    number(a, 0, capacity);
  }
  return a;
}

/// Every member as it was, for what must not change.
template <class A>
struct Members {
  explicit Members(const A& a)
      : data(a.data), numel(a.numel), capacity(a.capacity), owner(a.owner) {
    std::copy(std::begin(a.size), std::end(a.size), std::begin(size));
  }
  bool operator==(const Members&) const = default;

  const void* data;
  std::int32_t numel;
  std::int32_t capacity;
  bool owner;
  decltype(A::size) size;
};

}  // namespace support
