#pragma once

/// Counts of the calls into foreign libraries, taken by functions of the same names that stand in
/// front of the real ones in every test program (`call_counter.cpp`).
namespace support {

struct CallCounts {
  int fftPlans = 0;            // fftwf_plan_guru_dft
  int fftPlansDestroyed = 0;   // fftwf_destroy_plan
  int fftExecutions = 0;       // fftwf_execute_dft
  int matrixProducts = 0;      // cblas_cgemm
  int norms = 0;               // cblas_snrm2
  int blasThreadSettings = 0;  // openblas_set_num_threads
  int hermitianSolves = 0;     // LAPACKE_cheev
  int generalSolves = 0;       // LAPACKE_cgeevx
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
