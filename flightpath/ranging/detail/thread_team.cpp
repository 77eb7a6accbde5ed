#include "flightpath/ranging/detail/thread_team.h"

#include <pthread.h>

#include <algorithm>
#include <csignal>

namespace flightpath {
namespace {

/// While one lives, its thread takes no signal, and the threads that it makes never will: their
/// signals are the host's, to be handled in a thread of its own.
class BlockedSignals {
 public:
  BlockedSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;

 private:
  sigset_t before_ = {};
};

}  // namespace

ThreadTeam::ThreadTeam(unsigned size)
    : size_(size != 0 ? size : std::max(1U, std::thread::hardware_concurrency())), thrown_(size_) {
  threads_.reserve(size_ - 1);
  const BlockedSignals blocked;  // which the threads inherit
  try {
    for (unsigned number = 1; number < size_; ++number) {
      threads_.emplace_back([this, number] { wait(number); });
    }
  } catch (...) {
    end();  // the system refused one: those that run must not outlive this object
    throw;
  }
}

ThreadTeam::~ThreadTeam() { end(); }

void ThreadTeam::end() noexcept {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  start_.notify_all();
  for (std::thread& thread : threads_) {
    thread.join();
  }
}

void ThreadTeam::runErased(Call call, void* task) {
  {
    const std::lock_guard lock(mutex_);
    call_ = call;
    task_ = task;
    working_ = size_ - 1;
    ++round_;
  }
  start_.notify_all();
  attempt(0);
  {
    std::unique_lock lock(mutex_);
    done_.wait(lock, [this] { return working_ == 0; });
  }
  std::exception_ptr first;
  for (std::exception_ptr& thrown : thrown_) {
    first = first ? first : thrown;
    thrown = nullptr;
  }
  if (first) {
    std::rethrow_exception(first);
  }
}

void ThreadTeam::wait(unsigned number) {
  unsigned long seen = 0;
  while (true) {
    {
      std::unique_lock lock(mutex_);
      start_.wait(lock, [&] { return ending_ || round_ != seen; });
      if (ending_) {
        return;
      }
      seen = round_;
    }
    attempt(number);
    const std::lock_guard lock(mutex_);
    if (--working_ == 0) {
      done_.notify_one();
    }
  }
}

void ThreadTeam::attempt(unsigned number) {
  try {
    call_(task_, number);
  } catch (...) {
    thrown_[number] = std::current_exception();
  }
}

}  // namespace flightpath
