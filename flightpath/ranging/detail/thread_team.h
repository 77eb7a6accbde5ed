#pragma once

#include <condition_variable>
#include <cstddef>
#include <exception>
#include <mutex>
#include <thread>
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
class ThreadTeam {
 public:
  /// size  0: one for each core
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
  template <class Task>
  void run(Task task) {
    runErased([](void* erased, unsigned number) { (*static_cast<Task*>(erased))(number); }, &task);
  }

 private:
  using Call = void (*)(void* task, unsigned number);

  void runErased(Call call, void* task);
  void end() noexcept;
  void wait(unsigned number);
  void attempt(unsigned number);

  unsigned size_;
  std::mutex mutex_;
  std::condition_variable start_;
  std::condition_variable done_;
  Call call_ = nullptr;
  void* task_ = nullptr;
  unsigned long round_ = 0;
  unsigned working_ = 0;
  bool ending_ = false;
  std::vector<std::exception_ptr> thrown_;
  std::vector<std::thread> threads_;
};

}  // namespace flightpath
