#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

/// Counts of the calls into foreign libraries, taken by functions of the same names that stand in
/// front of the real ones in every test program (`call_counter.cpp`), and their log.
namespace support {

/// A number that any thread may step.
class Counter {
 public:
  Counter() = default;
  Counter(const Counter& other) : value_(other.value_.load()) {}
  Counter& operator=(const Counter& other) {
    value_ = other.value_.load();
    return *this;
  }
  operator int() const { return value_; }
  void operator++() { ++value_; }

 private:
  std::atomic<int> value_ = 0;
};

struct CallCounts {
  Counter fftPlans;            // fftwf_plan_guru_dft
  Counter fftPlansDestroyed;   // fftwf_destroy_plan
  Counter fftExecutions;       // fftwf_execute_dft
  Counter matrixProducts;      // cblas_cgemm
  Counter norms;               // cblas_snrm2
  Counter blasThreadSettings;  // openblas_set_num_threads
  Counter hermitianSolves;     // LAPACKE_cheev
  Counter generalSolves;       // LAPACKE_cgeevx
};

CallCounts& callCounts();

using CallLines = std::vector<std::string>;

/// While one lives, what is called is written down, in order and with its arguments, a line per call:
///
///   lock, unlock                            of the planning mutex
///   plan 1: 8 (1, 1) x 1 (1, 1), -1, 80     length and its strides, count and its strides, sign, flags;
///                                           plans are numbered as they are made, 0 is one from before
///   execute 1, destroy 1                    that plan
///   cgemm N C 6 6 3                         transposition of both operands, m, n, k
///   snrm2 240                               length
///   cheev V L 6                             jobz, uplo, n
///   cgeevx B N V N 6                        balance, left and right vectors, conditions, n
///   blas threads 1
///
/// watcher  called with each line before the call is made, or after it for lock: what it sees is what
///          stands when the call comes
class CallLog {
 public:
  explicit CallLog(std::function<void(const std::string&)> watcher = {});
  ~CallLog();
  CallLog(const CallLog&) = delete;
  CallLog& operator=(const CallLog&) = delete;

  /// What was called until now; the log goes on empty.
  CallLines take();

  void write(const std::string& line);
  void nameNextPlan(const void* plan);
  std::size_t numberOf(const void* plan) const;
  std::size_t numberOfNextPlan() const { return plans_.size() + 1; }

 private:
  std::function<void(const std::string&)> watcher_;
  mutable std::recursive_mutex mutex_;
  CallLines lines_;
  std::vector<const void*> plans_;
};

/// Counts how many calls into BLAS and LAPACK are under way at the same time, while it lives. Each call
/// takes a millisecond longer meanwhile, so that those that may meet do.
class CallsAtOnce {
 public:
  CallsAtOnce();
  ~CallsAtOnce();
  CallsAtOnce(const CallsAtOnce&) = delete;
  CallsAtOnce& operator=(const CallsAtOnce&) = delete;

  int most() const;
};

/// The name of an environment variable: what OpenBLAS shall say of its build to the library, as
/// `openblas_get_parallel` would. The library asks once, so it is set before the program starts.
inline constexpr const char* pretendedOpenBLAS = "FLIGHTPATH_PRETENDED_OPENBLAS";

/// While one lives, the FFT planner refuses: it returns a null plan.
class RefusingPlanner {
 public:
  RefusingPlanner();
  ~RefusingPlanner();
  RefusingPlanner(const RefusingPlanner&) = delete;
  RefusingPlanner& operator=(const RefusingPlanner&) = delete;
};

/// While one lives, both eigen solvers fail with this info and touch nothing.
class FailingSolver {
 public:
  explicit FailingSolver(int info);
  ~FailingSolver();
  FailingSolver(const FailingSolver&) = delete;
  FailingSolver& operator=(const FailingSolver&) = delete;
};

}  // namespace support
