#pragma once

#include <barrier>
#include <cstddef>
#include <exception>
#include <thread>
#include <vector>

/// Ways to do things on threads.
namespace support {

/// Calls task(0) ... task(count - 1), each on a thread of its own, all let go at the same moment,
/// and waits for all. What one of them throws reaches the caller, the first by number.
template <class Task>
void together(int count, const Task& task) {
  std::barrier start(count);
  std::vector<std::exception_ptr> thrown(static_cast<std::size_t>(count));
  std::vector<std::thread> threads;
  for (int number = 0; number < count; ++number) {
    threads.emplace_back([&start, &thrown, &task, number] {
      start.arrive_and_wait();
      try {
        task(number);
      } catch (...) {
        thrown[static_cast<std::size_t>(number)] = std::current_exception();
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (const std::exception_ptr& exception : thrown) {
    if (exception) {
      std::rethrow_exception(exception);
    }
  }
}

/// Calls the task on a thread of its own and waits for it.
template <class Task>
void elsewhere(const Task& task) {
  together(1, [&task](int) { task(); });
}

}  // namespace support
