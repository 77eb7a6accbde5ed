#include "tests/refusal/solver_memory.h"

#include <dlfcn.h>
#include <link.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || \
    __has_feature(memory_sanitizer)
#define REFUSAL_MALLOC_IS_THE_SANITIZERS
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define REFUSAL_MALLOC_IS_THE_SANITIZERS
#endif

namespace {

/// Where an object's code lies. Settled before the first refusal: looking it up allocates.
struct CodeRange {
  std::uintptr_t first = 0;
  std::uintptr_t last = 0;

  bool contains(const void* address) const {
    const auto at = reinterpret_cast<std::uintptr_t>(address);
    return first <= at && at < last;
  }
};

constinit CodeRange solverCode;
constinit std::atomic<int> victim = 0;  // 0: counting is off
constinit std::atomic<int> seen = 0;

/// The loaded object that holds this address.
CodeRange objectAround(const void* address) {
  struct Search {
    const void* address = nullptr;
    CodeRange found;
  } search = {address, {}};
  dl_iterate_phdr(
      [](dl_phdr_info* object, std::size_t, void* data) {
        auto& wanted = *static_cast<Search*>(data);
        for (int i = 0; i < object->dlpi_phnum; ++i) {
          const ElfW(Phdr)& segment = object->dlpi_phdr[i];
          const std::uintptr_t start = object->dlpi_addr + segment.p_vaddr;
          const CodeRange range = {start, start + segment.p_memsz};
          if (segment.p_type == PT_LOAD && range.contains(wanted.address)) {
            wanted.found = range;
            return 1;
          }
        }
        return 0;
      },
      &search);
  return search.found;
}

/// The function itself, behind the one of the same name that counts calls.
const void* behindOurs(const char* name) { return dlsym(RTLD_NEXT, name); }

}  // namespace

namespace refusal {

bool canRefuseSolverMemory() {
#ifdef REFUSAL_MALLOC_IS_THE_SANITIZERS
  return false;
#else
  const CodeRange lapacke = objectAround(behindOurs("LAPACKE_cheev"));
  return lapacke.first != 0 && !lapacke.contains(behindOurs("cblas_cgemm"));
#endif
}

RefusingSolverMemory::RefusingSolverMemory(int k) {
  solverCode = objectAround(behindOurs("LAPACKE_cheev"));
  seen = 0;
  victim = k;
}

RefusingSolverMemory::~RefusingSolverMemory() { victim = 0; }

int RefusingSolverMemory::requests() { return seen; }
bool RefusingSolverMemory::refused() { return seen >= victim; }

}  // namespace refusal

#ifndef REFUSAL_MALLOC_IS_THE_SANITIZERS

// In front of the C library's allocation. free stays as it is: every block granted is the C library's.

namespace {

bool isRefused(const void* caller) {
  return victim != 0 && solverCode.contains(caller) && ++seen == victim;
}

void* outOfMemory() {
  errno = ENOMEM;
  return nullptr;
}

}  // namespace

extern "C" {

// The C library's own names for what stands behind malloc and its kin.
// NOLINTBEGIN(bugprone-reserved-identifier)
void* __libc_malloc(std::size_t bytes);
void* __libc_calloc(std::size_t count, std::size_t bytes);
void* __libc_realloc(void* block, std::size_t bytes);
void* __libc_memalign(std::size_t alignment, std::size_t bytes);
// NOLINTEND(bugprone-reserved-identifier)

void* malloc(std::size_t bytes) {
  return isRefused(__builtin_return_address(0)) ? outOfMemory() : __libc_malloc(bytes);
}

void* calloc(std::size_t count, std::size_t bytes) {
  return isRefused(__builtin_return_address(0)) ? outOfMemory() : __libc_calloc(count, bytes);
}

void* realloc(void* block, std::size_t bytes) {
  return isRefused(__builtin_return_address(0)) ? outOfMemory() : __libc_realloc(block, bytes);
}

void* aligned_alloc(std::size_t alignment, std::size_t bytes) {
  return isRefused(__builtin_return_address(0)) ? outOfMemory() : __libc_memalign(alignment, bytes);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t bytes) {
  void* const granted =
      isRefused(__builtin_return_address(0)) ? nullptr : __libc_memalign(alignment, bytes);
  if (granted == nullptr) {
    return ENOMEM;
  }
  *block = granted;
  return 0;
}

}  // extern "C"

#endif
