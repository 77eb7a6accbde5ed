#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

/// How a fuzz target says what has to hold: the process ends where it does not, and the fuzzer keeps
/// the input.
namespace fuzz {

inline void require(bool holds, const std::string& what, const char* file = __builtin_FILE(),
                    int line = __builtin_LINE()) {
  if (!holds) {
    std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, what.c_str());
    std::abort();
  }
}

inline void require(const testing::AssertionResult& result, const std::string& what,
                    const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
  require(static_cast<bool>(result), what + ": " + result.message(), file, line);
}

}  // namespace fuzz
