#include "flightpath/ranging/detail/thread_team.h"

#include <algorithm>
#include <csignal>
#include <memory>
#include <system_error>
#include <thread>

#include "flightpath/runtime/detail/fork_generation.h"

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
  for (unsigned number = 1; number < size_; ++number) {
    members_.push_back({this, number, {}});
  }
  startThreads();
}

ThreadTeam::~ThreadTeam() {
  if (isOfThisProcess()) {
    endThreads();
  } else {
    beginAnew();
  }
}

bool ThreadTeam::isOfThisProcess() const { return generation_ == forkGeneration(); }

void ThreadTeam::startThreads() {
  beginAnew();
  const BlockedSignals blocked;  // which the threads inherit
  for (Member& member : members_) {
    const auto run = [](void* self) -> void* {
      const Member& of = *static_cast<Member*>(self);
      of.team->wait(of.number);
      return nullptr;
    };
    if (const int refused = pthread_create(&member.thread, nullptr, run, &member); refused != 0) {
      endThreads();  // those that run must not outlive this object
      throw std::system_error(refused, std::generic_category(), "ThreadTeam: a thread is refused");
    }
    ++running_;
  }
}

void ThreadTeam::endThreads() noexcept {
  {
    const std::lock_guard lock(meeting_.mutex);
    meeting_.ending = true;
  }
  meeting_.start.notify_all();
  for (; running_ > 0; --running_) {
    pthread_join(members_[running_ - 1].thread, nullptr);
  }
}

/// No thread is there, or none any more. The meeting is made anew and not destroyed: after a fork its mutex
/// may be held and its conditions waited at, by threads of the parent, for which a destructor would wait.
void ThreadTeam::beginAnew() noexcept {
  std::construct_at(&meeting_);
  running_ = 0;
  generation_ = forkGeneration();
}

void ThreadTeam::runErased(Call call, void* task) {
  if (!isOfThisProcess() || running_ < members_.size()) {
    startThreads();
  }
  {
    const std::lock_guard lock(meeting_.mutex);
    meeting_.call = call;
    meeting_.task = task;
    meeting_.working = size_ - 1;
    ++meeting_.round;
  }
  meeting_.start.notify_all();
  attempt(0);
  {
    std::unique_lock lock(meeting_.mutex);
    meeting_.done.wait(lock, [this] { return meeting_.working == 0; });
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
      std::unique_lock lock(meeting_.mutex);
      meeting_.start.wait(lock, [&] { return meeting_.ending || meeting_.round != seen; });
      if (meeting_.ending) {
        return;
      }
      seen = meeting_.round;
    }
    attempt(number);
    const std::lock_guard lock(meeting_.mutex);
    if (--meeting_.working == 0) {
      meeting_.done.notify_one();
    }
  }
}

void ThreadTeam::attempt(unsigned number) {
  try {
    meeting_.call(meeting_.task, number);
  } catch (...) {
    thrown_[number] = std::current_exception();
  }
}

}  // namespace flightpath
