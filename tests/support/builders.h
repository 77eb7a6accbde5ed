#pragma once

#include <cstdint>
#include <initializer_list>
#include <span>
#include <vector>

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"

/// Short ways to write the arrays that tests pass, and to read those that they get.
namespace support {

template <class T>
coder::array<T, 1> column(std::span<const T> values) {
  coder::array<T, 1> a;
  a.set_size(static_cast<std::int32_t>(values.size()));
  std::ranges::copy(values, a.begin());
  return a;
}

template <class T>
coder::array<T, 1> column(std::initializer_list<T> values) {
  return column(std::span<const T>(values.begin(), values.size()));
}

template <class T>
coder::array<T, 1> column(const std::vector<T>& values) {
  return column(std::span<const T>(values));
}

/// rows x cols, the values in storage order: column after column.
template <class T>
coder::array<T, 2> matrix(std::int32_t rows, std::int32_t cols, const std::vector<T>& values) {
  coder::array<T, 2> a;
  a.set_size(rows, cols);
  std::ranges::copy(values, a.begin());
  return a;
}

template <class T>
coder::array<T, 2> row(std::initializer_list<T> values) {
  return matrix(1, static_cast<std::int32_t>(values.size()), std::vector<T>(values));
}

template <class T>
coder::array<T, 2> row(const std::vector<T>& values) {
  return matrix(1, static_cast<std::int32_t>(values.size()), values);
}

template <class T, int N>
std::vector<T> toVector(const coder::array<T, N>& a) {
  return std::vector<T>(a.begin(), a.end());
}

}  // namespace support
