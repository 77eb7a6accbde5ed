#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <type_traits>

#include "flightpath/runtime/array.h"

/// Ways to look at elements without copying them.
namespace flightpath {

template <class T, int N>
std::span<T> elements(coder::array<T, N>& a) {
  return {a.data, static_cast<std::size_t>(a.numel)};
}

template <class T, int N>
std::span<const T> elements(const coder::array<T, N>& a) {
  return {a.data, static_cast<std::size_t>(a.numel)};
}

/// The n x 1 matrix that shares the column's buffer.
template <class T>
coder::array<T, 2> asMatrix(const coder::array<T, 1>& a) {
  coder::array<T, 2> view;
  view.data = a.data;
  view.numel = a.numel;
  view.capacity = a.capacity;
  view.size[0] = a.numel;
  view.size[1] = 1;
  return view;
}

/// Column j (counted from 0) of a matrix.
template <class T>
std::span<T> column(coder::array<T, 2>& a, std::int64_t j) {
  return {a.data + j * a.size[0], static_cast<std::size_t>(a.size[0])};
}

template <class T>
std::span<const T> column(const coder::array<T, 2>& a, std::int64_t j) {
  return {a.data + j * a.size[0], static_cast<std::size_t>(a.size[0])};
}

/// What a matrix argument says where a row is wanted: its first n elements in storage order, n its
/// second extent as far as there are elements.
template <class T>
std::span<const T> asRow(const coder::array<T, 2>& a) {
  return elements(a).first(static_cast<std::size_t>(std::clamp(a.size[1], 0, a.numel)));
}

/// An optional value or list is a matrix with a second extent of 0 when it is absent. One that
/// claims columns but holds no element (0 x n) counts as absent too: there is nothing to read.
template <class T>
bool isGiven(const coder::array<T, 2>& a) {
  return !asRow(a).empty();
}

/// row := `source` as 1 x n. A row may be set from its own elements.
template <class T>
void setRow(coder::array<T, 2>& row, std::span<const std::type_identity_t<T>> source) {
  row.set_size(1, static_cast<std::int32_t>(source.size()));
  std::ranges::copy(source, row.begin());
}

/// a := the 1 x 1 matrix [value].
template <class T>
void setScalar(coder::array<T, 2>& a, T value) {
  a.set_size(1, 1);
  a[0] = value;
}

}  // namespace flightpath
