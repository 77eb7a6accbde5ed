#include "flightpath/spectrum/planning_lock.h"

#include <pthread.h>

#include <cstdio>
#include <mutex>

namespace {

// Static storage, so zero-initialised: on this platform that is an unlocked default mutex.
pthread_mutex_t planningMutex;

// Whoever comes first, initialisation or use, settles it: a mutex in use is never initialised
// again.
std::once_flag planningMutexSettled;

}  // namespace

int initFFTPlanningProcessLock() {
  int result = 0;
  std::call_once(planningMutexSettled, [&result] {
    if (pthread_mutex_init(&planningMutex, nullptr) != 0) {
      result = std::puts("\n FFTW planner mutex init failed!!!!!!!!!!");
    }
  });
  return result;
}

int lockFFTPlanningProcess() {
  std::call_once(planningMutexSettled, [] {});
  return pthread_mutex_lock(&planningMutex);
}

int unlockFFTPlanningProcess() { return pthread_mutex_unlock(&planningMutex); }
