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

/// Which thread holds the lock; zero for none.
std::atomic<pthread_t> planner = 0;

// Around a fork: a child gets neither a plan that is half made nor a lock that nobody gives back. A thread
// that forks while it holds the lock does so in the child too. In this order: whoever holds the planning
// mutex may ask for its initialisation.
void hold() {
  settleByUse();
  if (planner != pthread_self()) {
    pthread_mutex_lock(&planningMutex);
  }
  settling.lock();
}

void release() {
  settling.unlock();
  if (planner != pthread_self()) {
    pthread_mutex_unlock(&planningMutex);
  }
}

[[maybe_unused]] const int forkHandlers = pthread_atfork(hold, release, release);

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
  const int result = pthread_mutex_lock(&planningMutex);
  planner = pthread_self();
  return result;
}

int unlockFFTPlanningProcess() {
  planner = pthread_t{};
  return pthread_mutex_unlock(&planningMutex);
}
