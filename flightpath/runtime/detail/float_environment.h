#pragma once

#include <cfenv>

namespace flightpath {

/// While one lives, floating point works as at the start of a program, whatever the caller has set:
/// rounding to nearest, subnormals kept, no exception trapped, the x87 unit at full precision. The
/// caller's modes and exception flags come back at its end, also when an exception passes.
///
/// Every result then depends on the arguments alone. A thread inherits the modes of the one that
/// starts it, so those that are started under one keep these.
class DefaultFloatEnvironment {
 public:
  DefaultFloatEnvironment() {
    std::fegetenv(&callers_);
    std::fesetenv(FE_DFL_ENV);
  }
  ~DefaultFloatEnvironment() { std::fesetenv(&callers_); }

  /// Calls back to the caller, in the caller's modes: what it sets there is the caller's again at the end.
  template <class Call>
  auto callBack(Call call) {
    std::fesetenv(&callers_);
    const auto answer = call();
    std::fegetenv(&callers_);
    std::fesetenv(FE_DFL_ENV);
    return answer;
  }

  DefaultFloatEnvironment(const DefaultFloatEnvironment&) = delete;
  DefaultFloatEnvironment& operator=(const DefaultFloatEnvironment&) = delete;

 private:
  std::fenv_t callers_{};
};

}  // namespace flightpath
