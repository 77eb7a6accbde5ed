#include "tests/refusal/refused_new.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

struct Books {
  std::atomic<long> live = 0;
  std::atomic<long> requests = 0;
  std::atomic<long> refused = 0;
  std::atomic<long> refusedByThrowing = 0;
  std::atomic<long> victim = 0;  // 0: none
  std::atomic<bool> allLater = false;
  std::atomic<bool> counting = false;
};

constinit Books books;

bool isRefused() {
  if (!books.counting) {
    return false;
  }
  const long request = ++books.requests;
  const long victim = books.victim;
  const bool refused = victim > 0 && (request == victim || (request > victim && books.allLater));
  books.refused += refused ? 1 : 0;
  return refused;
}

void* counted(void* block) noexcept {
  books.live += block != nullptr ? 1 : 0;
  return block;
}

// From malloc, so that a sanitizer sees every block, its bounds and its loss.
void* allocate(std::size_t bytes) noexcept {
  return isRefused() ? nullptr : counted(std::malloc(bytes > 0 ? bytes : 1));
}

void* allocate(std::size_t bytes, std::align_val_t alignment) noexcept {
  const auto step = static_cast<std::size_t>(alignment);
  const std::size_t rounded = ((bytes > 0 ? bytes : 1) + step - 1) / step * step;
  return isRefused() ? nullptr : counted(std::aligned_alloc(step, rounded));
}

void* orThrow(void* block) {
  if (block == nullptr) {
    ++books.refusedByThrowing;
    throw std::bad_alloc();
  }
  return block;
}

// Out of line: inlined beside an allocation that is not, it looks like a mismatch to the compiler.
[[gnu::noinline]] void release(void* block) noexcept {
  books.live -= block != nullptr ? 1 : 0;
  std::free(block);
}

}  // namespace

namespace refusal {

long liveBlocks() { return books.live; }

RefusingNew::RefusingNew(long k, Refuse refuse) {
  books.requests = 0;
  books.refused = 0;
  books.refusedByThrowing = 0;
  books.victim = k;
  books.allLater = refuse == Refuse::ThatAndAllLater;
  books.counting = true;
}

RefusingNew::~RefusingNew() { books.counting = false; }

long RefusingNew::requests() { return books.requests; }
long RefusingNew::refused() { return books.refused; }
long RefusingNew::refusedByThrowing() { return books.refusedByThrowing; }

}  // namespace refusal

void* operator new(std::size_t n) { return orThrow(allocate(n)); }
void* operator new[](std::size_t n) { return orThrow(allocate(n)); }
void* operator new(std::size_t n, const std::nothrow_t&) noexcept { return allocate(n); }
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept { return allocate(n); }
void* operator new(std::size_t n, std::align_val_t a) { return orThrow(allocate(n, a)); }
void* operator new[](std::size_t n, std::align_val_t a) { return orThrow(allocate(n, a)); }
void* operator new(std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept {
  return allocate(n, a);
}
void* operator new[](std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept {
  return allocate(n, a);
}
void operator delete(void* p) noexcept { release(p); }
void operator delete[](void* p) noexcept { release(p); }
void operator delete(void* p, std::size_t) noexcept { release(p); }
void operator delete[](void* p, std::size_t) noexcept { release(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { release(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { release(p); }
void operator delete(void* p, std::align_val_t) noexcept { release(p); }
void operator delete[](void* p, std::align_val_t) noexcept { release(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { release(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { release(p); }
void operator delete(void* p, std::align_val_t, const std::nothrow_t&) noexcept { release(p); }
void operator delete[](void* p, std::align_val_t, const std::nothrow_t&) noexcept { release(p); }
