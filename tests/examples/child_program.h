#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <string>
#include <vector>

/// A program that runs beside the test. What it prints, to either stream, is read with a time limit; one that
/// outlives the test, or the limit, is killed.
class ChildProgram {
 public:
  explicit ChildProgram(std::vector<std::string> command) {
    int ends[2] = {-1, -1};
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    std::vector<char*> arguments;
    for (std::string& word : command) {
      arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    pid_ = fork();
    if (pid_ == 0) {
      dup2(ends[1], STDOUT_FILENO);
      dup2(ends[1], STDERR_FILENO);
      execv(arguments[0], arguments.data());
      _exit(127);
    }
    close(ends[1]);
    output_ = ends[0];
  }
  ~ChildProgram() {
    if (pid_ > 0) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
    close(output_);
  }
  ChildProgram(const ChildProgram&) = delete;
  ChildProgram& operator=(const ChildProgram&) = delete;

  void signal(int number) const { kill(pid_, number); }

  /// Waits until it has printed this, or ends. Everything that it printed so far.
  const std::string& readUntil(const std::string& text) {
    while (printed_.find(text) == std::string::npos && readSome()) {
    }
    return printed_;
  }

  /// Waits for its end: the exit status, or -1 where a signal ended it.
  int finish() {
    while (readSome()) {
    }
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  const std::string& printed() const { return printed_; }

 private:
  using Clock = std::chrono::steady_clock;

  bool readSome() {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline_ - Clock::now()).count();
    pollfd one = {output_, POLLIN, 0};
    if (left <= 0 || poll(&one, 1, static_cast<int>(left)) == 0) {
      ADD_FAILURE() << "it neither went on nor ended; so far: " << printed_;
      kill(pid_, SIGKILL);
      return false;
    }
    std::array<char, 4096> part = {};
    const ssize_t got = read(output_, part.data(), part.size());
    printed_.append(part.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
    return got > 0;
  }

  Clock::time_point deadline_ = Clock::now() + std::chrono::seconds(120);
  pid_t pid_ = -1;
  int output_ = -1;
  std::string printed_;
};
