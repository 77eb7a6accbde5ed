#pragma once

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

namespace coder {

/// Column-major array of N dimensions (N = 1 or 2) with an owned buffer that only grows.
///
///   element (i, j) of a 2-D array stands at data[i + j * size[0]], i and j counted from 0;
///   a 1-D array is a column
///
/// Capacity rule: the first buffer holds at least 16 elements; growth doubles the capacity until
/// the wanted count fits and saturates at 2147483647. Shrinking keeps buffer and capacity. Elements
/// that come into being, by growth or by regrowth after shrinking, are zero.
///
/// Copies are deep and follow the same rule. Moving takes the buffer over and leaves an empty
/// array.
///
/// An array with `owner` false is a view: its buffer is the caller's, is never released here, and
/// is replaced by an owned one on the first growth beyond `capacity`.
///
/// The members are public for callers that fill or read whole buffers. Code that writes them
/// keeps the invariants: 0 <= numel <= capacity (asserted in debug builds wherever the array is
/// resized or copied), numel = product of the sizes (asserted of what is copied). The extents may be
/// written first, the elements asked for next: that is what `set_size` without arguments is for.
///
/// Errors: std::length_error for a negative extent or a product of extents above 2147483647,
/// std::bad_alloc from the allocator. The array is unchanged by either.
template <class T, int N>
class array {
  static_assert(N == 1 || N == 2, "columns and matrices only");
  static_assert(std::is_trivial_v<T>, "elements are plain values: copied as bytes, born as zeros");

 public:
  T* data = nullptr;
  std::int32_t numel = 0;
  std::int32_t capacity = 0;
  bool owner = false;
  std::int32_t size[N] = {};

  array() = default;
  ~array() { release(); }

  array(const array& other) { assign(other); }
  array& operator=(const array& other) {
    if (this != &other) {
      assign(other);
    }
    return *this;
  }

  array(array&& other) noexcept { take(other); }
  array& operator=(array&& other) noexcept {
    if (this != &other) {
      release();
      take(other);
    }
    return *this;
  }

  /// Makes a column hold `n` elements.
  void set_size(std::int32_t n) {
    static_assert(N == 1, "a matrix takes two extents");
    resize({n});
  }

  /// Makes a matrix hold rows x cols elements. The buffer is not rearranged: element k in storage
  /// order stays element k.
  void set_size(std::int32_t rows, std::int32_t cols) {
    static_assert(N == 2, "a column takes one extent");
    resize({rows, cols});
  }

  /// Makes the array hold the product of the extents that the caller has written into `size`.
  void set_size() {
    Extents extents = {};
    std::copy_n(size, N, extents.size);
    resize(extents);
  }

  T& operator[](std::int32_t i) { return data[i]; }
  const T& operator[](std::int32_t i) const { return data[i]; }

  T& operator()(std::int32_t i, std::int32_t j) { return data[position(i, j)]; }
  const T& operator()(std::int32_t i, std::int32_t j) const { return data[position(i, j)]; }

  T* begin() { return data; }
  T* end() { return data + numel; }
  const T* begin() const { return data; }
  const T* end() const { return data + numel; }

 private:
  static constexpr std::int32_t maxNumel = std::numeric_limits<std::int32_t>::max();
  static constexpr std::int32_t minCapacity = 16;

  struct Extents {
    std::int32_t size[N];
  };

  std::ptrdiff_t position(std::int32_t i, std::int32_t j) const {
    static_assert(N == 2, "a column takes one index");
    return i + static_cast<std::ptrdiff_t>(j) * size[0];
  }

  [[noreturn]] static void refuse(const Extents& extents) {
    throw std::length_error("coder::array: " + std::to_string(extents.size[0]) + " x " +
                            std::to_string(extents.size[N - 1]) +
                            " elements; the most is 2147483647");
  }

  static std::int32_t product(const Extents& extents) {
    std::int64_t n = 1;
    for (const std::int32_t extent : extents.size) {
      if (extent < 0) {
        throw std::length_error("coder::array: negative extent");
      }
      n *= extent;
    }
    if (n > maxNumel) {
      refuse(extents);
    }
    return static_cast<std::int32_t>(n);
  }

  static std::int32_t grownCapacity(std::int32_t capacity, std::int32_t n) {
    std::int64_t grown = std::max(capacity, minCapacity);
    while (grown < n) {
      grown *= 2;
    }
    return static_cast<std::int32_t>(std::min<std::int64_t>(grown, maxNumel));
  }

  // The extents that stand in `size` may be the new ones already: `numel` says what is held.
  void resize(const Extents& extents) {
    assert(isWithinCapacity());
    const std::int32_t n = product(extents);
    if (n > capacity) {
      moveToLargerBuffer(grownCapacity(capacity, n));
    }
    if (n > numel && data != nullptr) {
      std::memset(static_cast<void*>(data + numel), 0, bytes(n - numel));
    }
    numel = n;
    std::copy_n(extents.size, N, size);
  }

  void moveToLargerBuffer(std::int32_t newCapacity) {
    T* const buffer = new T[static_cast<std::size_t>(newCapacity)];
    if (numel > 0) {
      std::memcpy(static_cast<void*>(buffer), data, bytes(numel));
    }
    release();
    data = buffer;
    capacity = newCapacity;
    owner = true;
  }

  void assign(const array& other) {
    assert(isWithinCapacity() && other.isWithinCapacity() && other.holdsItsExtents());
    if (other.numel > capacity) {
      moveToLargerBuffer(grownCapacity(capacity, other.numel));
    }
    if (other.numel > 0) {
      std::memmove(static_cast<void*>(data), other.data, bytes(other.numel));  // a view may overlap
    }
    numel = other.numel;
    std::copy_n(other.size, N, size);
  }

  void take(array& other) noexcept {
    data = std::exchange(other.data, nullptr);
    numel = std::exchange(other.numel, 0);
    capacity = std::exchange(other.capacity, 0);
    owner = std::exchange(other.owner, false);
    for (int d = 0; d < N; ++d) {
      size[d] = std::exchange(other.size[d], 0);
    }
  }

  void release() noexcept {
    if (owner) {
      delete[] data;
    }
  }

  static std::size_t bytes(std::int32_t n) { return static_cast<std::size_t>(n) * sizeof(T); }

  bool isWithinCapacity() const { return numel >= 0 && numel <= capacity; }

  bool holdsItsExtents() const {
    std::int64_t n = 1;
    for (const std::int32_t extent : size) {
      n *= extent;
    }
    return n == numel;
  }
};

}  // namespace coder
