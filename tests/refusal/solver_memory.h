#pragma once

/// The work space that LAPACKE allocates for itself, refused on request (`solver_memory.cpp`).
///
/// Only what LAPACKE's own code asks of malloc is refused. FFTW ends the process when its malloc returns
/// null, so there is nothing to hand on; OpenBLAS and LAPACK ask malloc for nothing in the calls that
/// this library makes.
namespace refusal {

/// Whether this build can refuse it: not under a sanitizer, which owns malloc, nor where LAPACKE shares
/// an object with the BLAS, whose requests could then not be told apart.
bool canRefuseSolverMemory();

/// While one lives, LAPACKE's requests are counted from 1 on and the k-th is refused.
class RefusingSolverMemory {
 public:
  explicit RefusingSolverMemory(int k);
  ~RefusingSolverMemory();
  RefusingSolverMemory(const RefusingSolverMemory&) = delete;
  RefusingSolverMemory& operator=(const RefusingSolverMemory&) = delete;

  static int requests();
  static bool refused();
};

}  // namespace refusal
