#pragma once

#include <pthread.h>

#include <condition_variable>
#include <cstddef>
#include <exception>
#include <mutex>
#include <vector>

namespace flightpath {

/// The items from `first` on, up to but without `last`.
struct Share {
  std::size_t first;
  std::size_t last;
};

/// A fixed number of threads that do one task together: each calls it once with its own number. The
/// caller is number 0, the others wait between tasks. The others block every signal: none sent to
/// the process is delivered to them.
///
/// A forked process has none of the others. A team that is destroyed there waits for nobody, and one that is
/// used there starts threads anew; a fork during `run` on another thread is the exception, after which the
/// child leaves the team alone.
class ThreadTeam {
 public:
  /// size  0: one for each core
  ///
  /// Errors: std::system_error where the system refuses a thread.
  explicit ThreadTeam(unsigned size);
  ~ThreadTeam();
  ThreadTeam(const ThreadTeam&) = delete;
  ThreadTeam& operator=(const ThreadTeam&) = delete;

  unsigned size() const { return size_; }

  /// Which of `count` items are those of one thread: shares differ by one at most, and those of all
  /// threads, one behind the other, are the whole.
  Share shareOf(unsigned number, std::size_t count) const {
    return {count * number / size_, count * (number + 1) / size_};
  }

  /// Runs the task on every thread and waits for all. What one of them throws reaches the caller
  /// (the first by number of thread), after all are done; the team stays usable.
  ///
  /// task  callable with a thread's number; it is not copied, and nothing is allocated
  ///
  /// Errors: std::system_error where a forked process is refused its own threads; the next call tries again.
  template <class Task>
  void run(Task task) {
    runErased([](void* erased, unsigned number) { (*static_cast<Task*>(erased))(number); }, &task);
  }

 private:
  using Call = void (*)(void* task, unsigned number);

  /// A thread besides the caller's. Plain data: where the thread is not there, nothing is left to release.
  struct Member {
    ThreadTeam* team;
    unsigned number;
    pthread_t thread;
  };

  /// Where the threads wait for a task, and the caller for them.
  struct Meeting {
    std::mutex mutex;
    std::condition_variable start;
    std::condition_variable done;
    Call call = nullptr;
    void* task = nullptr;
    unsigned long round = 0;
    unsigned working = 0;
    bool ending = false;
  };

  void runErased(Call call, void* task);
  bool isOfThisProcess() const;
  void startThreads();
  void endThreads() noexcept;
  void beginAnew() noexcept;
  void wait(unsigned number);
  void attempt(unsigned number);

  unsigned size_;
  Meeting meeting_;
  std::vector<std::exception_ptr> thrown_;
  std::vector<Member> members_;
  std::size_t running_ = 0;       // the first of them
  unsigned long generation_ = 0;  // of the process that they run in
};

}  // namespace flightpath
