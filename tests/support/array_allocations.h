#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>

/// The global array allocation, replaced by one that keeps books and refuses on request: every
/// buffer of `coder::array` passes through here.
///
/// A program has one such allocation, so one of its sources includes this file.
namespace support {

struct ArrayAllocations {
  int made = 0;
  int released = 0;
  std::size_t bytesWanted = 0;  // of the last request, granted or not
  bool refusing = false;
};

inline ArrayAllocations& arrayAllocations() {
  static ArrayAllocations allocations;
  return allocations;
}

/// What happened since the watch began.
class AllocationWatch {
 public:
  int made() const { return arrayAllocations().made - before_.made; }
  int released() const { return arrayAllocations().released - before_.released; }

 private:
  ArrayAllocations before_ = arrayAllocations();
};

/// While one lives, no array allocation succeeds.
class RefusingAllocator {
 public:
  RefusingAllocator() { arrayAllocations().refusing = true; }
  ~RefusingAllocator() { arrayAllocations().refusing = false; }
  RefusingAllocator(const RefusingAllocator&) = delete;
  RefusingAllocator& operator=(const RefusingAllocator&) = delete;
};

}  // namespace support

void* operator new[](std::size_t bytes) {
  support::ArrayAllocations& allocations = support::arrayAllocations();
  allocations.bytesWanted = bytes;
  void* const buffer = allocations.refusing ? nullptr : std::malloc(bytes > 0 ? bytes : 1);
  if (buffer == nullptr) {
    throw std::bad_alloc();
  }
  ++allocations.made;
  return buffer;
}

void operator delete[](void* buffer) noexcept {
  if (buffer != nullptr) {
    ++support::arrayAllocations().released;
  }
  std::free(buffer);
}

void operator delete[](void* buffer, std::size_t) noexcept { operator delete[](buffer); }
