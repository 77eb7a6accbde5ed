#pragma once

#include <fenv.h>
#include <pmmintrin.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xmmintrin.h>

#include <array>

/// The floating-point environment that a host program may have set before it calls the library.
namespace support {

struct HostMode {
  const char* name;
  void (*set)();
};

inline constexpr std::array<HostMode, 3> flushModes = {{
    {"flush to zero", [] { _MM_SET_FLUSH_ZERO_MODE(_MM_FLUSH_ZERO_ON); }},
    {"denormals are zero", [] { _MM_SET_DENORMALS_ZERO_MODE(_MM_DENORMALS_ZERO_ON); }},
    {"both",
     [] {
       _MM_SET_FLUSH_ZERO_MODE(_MM_FLUSH_ZERO_ON);
       _MM_SET_DENORMALS_ZERO_MODE(_MM_DENORMALS_ZERO_ON);
     }},
}};

inline constexpr std::array<HostMode, 3> roundingModes = {{
    {"rounding upward", [] { fesetround(FE_UPWARD); }},
    {"rounding downward", [] { fesetround(FE_DOWNWARD); }},
    {"rounding toward zero", [] { fesetround(FE_TOWARDZERO); }},
}};

constexpr int trappedExceptions = FE_INVALID | FE_DIVBYZERO | FE_OVERFLOW;

/// While one lives, the mode is set; then all is as before.
class UnderMode {
 public:
  explicit UnderMode(const HostMode& mode) {
    fegetenv(&before_);
    mode.set();
  }
  ~UnderMode() { fesetenv(&before_); }
  UnderMode(const UnderMode&) = delete;
  UnderMode& operator=(const UnderMode&) = delete;

 private:
  fenv_t before_{};
};

/// What a host sets, and what only happens to it, of both floating-point units.
struct FloatUnits {
  unsigned mxcsr;
  unsigned short control;
  int raised;
};

inline FloatUnits floatUnits() {
  fenv_t now;
  fegetenv(&now);
  return {now.__mxcsr, now.__control_word, fetestexcept(FE_ALL_EXCEPT)};
}

inline bool sameControls(const FloatUnits& a, const FloatUnits& b) {
  constexpr unsigned flags = 0x3F;
  return (a.mxcsr & ~flags) == (b.mxcsr & ~flags) && a.control == b.control;
}

/// The sanitizers' runtimes handle the signal themselves and make a copy of the process slow.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool trapsCanBeWatched = false;
#else
inline constexpr bool trapsCanBeWatched = true;
#endif

/// Whether a child process in which floating-point exceptions trap comes to the end of `task`.
template <class Task>
bool endsWithTrapsOn(Task task) {
  const pid_t child = fork();
  if (child == 0) {
    feclearexcept(FE_ALL_EXCEPT);
    feenableexcept(trappedExceptions);
    task();
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace support
