#pragma once

#include <atomic>

/// Counts of the calls into foreign libraries, taken by functions of the same names that stand in
/// front of the real ones in every test program (`call_counter.cpp`).
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
