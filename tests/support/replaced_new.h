#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>

/// The global allocation of a program, every form of it, by two functions that the program defines.
///
/// A sanitizer's runtime brings its own of each form that is missing; a program that replaced some
/// would get two allocations. A program has one, so one of its sources includes this file.
namespace support {

enum class WhenRefused { Throw, ReturnNull };

/// Null refuses; operator new then does what `whenRefused` says.
void* takeBlock(std::size_t bytes, std::size_t alignment, WhenRefused whenRefused) noexcept;

/// `block` is from takeBlock, or null.
void giveBlockBack(void* block) noexcept;

/// From malloc, so that a sanitizer sees every block, its bounds and its loss.
inline void* mallocBlock(std::size_t bytes, std::size_t alignment) noexcept {
  const std::size_t wanted = bytes > 0 ? bytes : 1;
  return alignment <= __STDCPP_DEFAULT_NEW_ALIGNMENT__
             ? std::malloc(wanted)
             : std::aligned_alloc(alignment, (wanted + alignment - 1) / alignment * alignment);
}

/// What the operators call. Out of line: inlined into one of a pair only, it looks like a mismatch to
/// the compiler.
[[gnu::noinline]] inline void* newBlock(std::size_t bytes,
                                        std::align_val_t alignment = std::align_val_t{
                                            __STDCPP_DEFAULT_NEW_ALIGNMENT__}) {
  void* const block = takeBlock(bytes, static_cast<std::size_t>(alignment), WhenRefused::Throw);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}

[[gnu::noinline]] inline void* newBlockOrNull(std::size_t bytes,
                                              std::align_val_t alignment = std::align_val_t{
                                                  __STDCPP_DEFAULT_NEW_ALIGNMENT__}) noexcept {
  return takeBlock(bytes, static_cast<std::size_t>(alignment), WhenRefused::ReturnNull);
}

[[gnu::noinline]] inline void deleteBlock(void* block) noexcept { giveBlockBack(block); }

}  // namespace support

void* operator new(std::size_t n) { return support::newBlock(n); }
void* operator new[](std::size_t n) { return support::newBlock(n); }
void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
  return support::newBlockOrNull(n);
}
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept {
  return support::newBlockOrNull(n);
}
void* operator new(std::size_t n, std::align_val_t a) { return support::newBlock(n, a); }
void* operator new[](std::size_t n, std::align_val_t a) { return support::newBlock(n, a); }
void* operator new(std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept {
  return support::newBlockOrNull(n, a);
}
void* operator new[](std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept {
  return support::newBlockOrNull(n, a);
}

void operator delete(void* p) noexcept { support::deleteBlock(p); }
void operator delete[](void* p) noexcept { support::deleteBlock(p); }
void operator delete(void* p, std::size_t) noexcept { support::deleteBlock(p); }
void operator delete[](void* p, std::size_t) noexcept { support::deleteBlock(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { support::deleteBlock(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { support::deleteBlock(p); }
void operator delete(void* p, std::align_val_t) noexcept { support::deleteBlock(p); }
void operator delete[](void* p, std::align_val_t) noexcept { support::deleteBlock(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { support::deleteBlock(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { support::deleteBlock(p); }
void operator delete(void* p, std::align_val_t, const std::nothrow_t&) noexcept {
  support::deleteBlock(p);
}
void operator delete[](void* p, std::align_val_t, const std::nothrow_t&) noexcept {
  support::deleteBlock(p);
}
