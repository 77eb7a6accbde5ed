#include "flightpath/spectrum/planning_lock.h"

#include <pthread.h>

#include <atomic>
#include <cstdio>
#include <mutex>

namespace {

// Static storage, so zero-initialised: on this platform that is an unlocked default mutex.
pthread_mutex_t planningMutex;

// Set by whoever comes first, a use or an initialisation that succeeds: from then on the mutex is
// never initialised again.
std::atomic<bool> planningMutexSettled = false;
std::mutex settling;

void settleByUse() {
  if (!planningMutexSettled) {
    const std::lock_guard lock(settling);  // waits for an initialisation that is under way
    planningMutexSettled = true;
  }
}

}  // namespace

int initFFTPlanningProcessLock() {
  const std::lock_guard lock(settling);
  if (planningMutexSettled) {
    return 0;
  }
  if (pthread_mutex_init(&planningMutex, nullptr) != 0) {
    return std::puts("\n FFTW planner mutex init failed!!!!!!!!!!");
  }
  planningMutexSettled = true;
  return 0;
}

int lockFFTPlanningProcess() {
  settleByUse();
  return pthread_mutex_lock(&planningMutex);
}

int unlockFFTPlanningProcess() { return pthread_mutex_unlock(&planningMutex); }
