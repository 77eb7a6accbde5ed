#pragma once

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

#include "tests/support/replaced_new.h"

/// The global allocation, replaced by one that has no large blocks: the work space of the longest
/// records is more than most machines have, and must be refused here rather than there.
///
/// A program has one such allocation: one of its sources includes this file.
namespace support {

inline constexpr std::size_t largestBlock = std::size_t{256} << 20U;

/// The size of the largest block that was asked for, granted or not, since someone set it to 0.
inline std::atomic<std::size_t>& largestBlockWanted() {
  static std::atomic<std::size_t> bytes = 0;
  return bytes;
}

inline void* takeBlock(std::size_t bytes, std::size_t alignment, WhenRefused) noexcept {
  std::size_t largest = largestBlockWanted();
  while (bytes > largest && !largestBlockWanted().compare_exchange_weak(largest, bytes)) {
  }
  return bytes > largestBlock ? nullptr : mallocBlock(bytes, alignment);
}

inline void giveBlockBack(void* block) noexcept { std::free(block); }

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
