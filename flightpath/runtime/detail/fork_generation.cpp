#include "flightpath/runtime/detail/fork_generation.h"

#include <pthread.h>

#include <atomic>

namespace flightpath {
namespace {

std::atomic<unsigned long> generation = 0;

// A number that is counted, and not the process id: ids are used again, also by the child of a child, and
// the first process of every container has the same one. As the library is loaded: before any fork that
// could matter.
[[maybe_unused]] const int counting =
    pthread_atfork(nullptr, nullptr, [] { generation.fetch_add(1, std::memory_order_relaxed); });

}  // namespace

unsigned long forkGeneration() { return generation.load(std::memory_order_relaxed); }

}  // namespace flightpath
