#include "tests/refusal/refused_new.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>

#include "tests/support/replaced_new.h"

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

void* support::takeBlock(std::size_t bytes, std::size_t alignment,
                         WhenRefused whenRefused) noexcept {
  if (isRefused()) {
    books.refusedByThrowing += whenRefused == WhenRefused::Throw ? 1 : 0;
    return nullptr;
  }
  void* const block = mallocBlock(bytes, alignment);
  books.live += block != nullptr ? 1 : 0;
  return block;
}

void support::giveBlockBack(void* block) noexcept {
  books.live -= block != nullptr ? 1 : 0;
  std::free(block);
}
