#pragma once

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

/// The global allocation, replaced by one that has no large blocks: the work space of the longest
/// records is more than most machines have, and must be refused here rather than there.
///
/// A program has one such allocation: one of its sources defines the operators by these functions.
namespace support {

inline constexpr std::size_t largestBlock = std::size_t{256} << 20U;

/// The size of the largest block that was asked for, granted or not, since someone set it to 0.
inline std::atomic<std::size_t>& largestBlockWanted() {
  static std::atomic<std::size_t> bytes = 0;
  return bytes;
}

inline void* allocateWithin(std::size_t bytes) noexcept {
  std::size_t largest = largestBlockWanted();
  while (bytes > largest && !largestBlockWanted().compare_exchange_weak(largest, bytes)) {
  }
  return bytes > largestBlock ? nullptr : std::malloc(bytes > 0 ? bytes : 1);
}

inline void* allocateOrThrow(std::size_t bytes) {
  void* const block = allocateWithin(bytes);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}

/// Whether this allocation is the one in use, for single objects and for arrays. Blocks of this size
/// are untouched, so that finding out costs no memory.
inline bool largeBlocksAreRefused() {
  int refused = 0;
  try {
    ::operator delete(::operator new(largestBlock + 1));
  } catch (const std::bad_alloc&) {
    ++refused;
  }
  try {
    ::operator delete[](::operator new[](largestBlock + 1));
  } catch (const std::bad_alloc&) {
    ++refused;
  }
  return refused == 2;
}

}  // namespace support
