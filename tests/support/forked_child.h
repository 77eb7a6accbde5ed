#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>

/// What holds in a forked child.
namespace support {

#if defined(__SANITIZE_THREAD__)
constexpr bool childrenMayStartThreads = false;
#elif defined(__has_feature)
constexpr bool childrenMayStartThreads = !__has_feature(thread_sanitizer);
#else
constexpr bool childrenMayStartThreads = true;
#endif

/// Why a test is skipped where they may not.
constexpr const char* refusedThreads =
    "the thread sanitizer ends a process that was forked from one with threads and starts its own";

/// Ends a child by `exit`, so that handlers and the destructors of what is static run. Not under the thread
/// sanitizer, which would take the parent's threads for leaks of the child.
template <class Task>
[[noreturn]] void finishChild(const Task& holds) {
  alarm(30);  // whoever hangs is killed
  bool itHolds = false;
  try {
    itHolds = static_cast<bool>(holds());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "in the child: %s\n", error.what());
  }
  const int status = itHolds ? 0 : 1;
  if (childrenMayStartThreads) {
    std::exit(status);
  }
  std::_Exit(status);
}

inline testing::AssertionResult passed(pid_t child) {
  int status = 0;
  if (waitpid(child, &status, 0) != child) {
    return testing::AssertionFailure() << "there is no child";
  }
  if (WIFSIGNALED(status)) {
    return testing::AssertionFailure() << "ended by signal " << WTERMSIG(status)
                                       << (WTERMSIG(status) == SIGALRM ? ": it hung" : "");
  }
  return WEXITSTATUS(status) == 0
             ? testing::AssertionSuccess()
             : testing::AssertionFailure() << "exit status " << WEXITSTATUS(status);
}

/// Whether a forked child finds that `holds()`, and ends well.
template <class Task>
testing::AssertionResult holdsInChild(const Task& holds) {
  std::fflush(nullptr);               // what waits for output is written once
  const unsigned left_s = alarm(30);  // a fork that waits for ever ends the program
  const pid_t child = fork();
  if (child == 0) {
    finishChild(holds);
  }
  alarm(left_s);
  return passed(child);
}

}  // namespace support
