#pragma once

#include <mutex>

namespace flightpath {

/// Whether calls into OpenBLAS have to take turns, by what it says of its own build.
///
///   1 (threads of its own)  no: it may be called from several threads at once
///   0 (serial)              yes: its work space has no lock, and calls that meet get wrong numbers
///   2 (OpenMP)              yes: its count of threads and its work space are not safe either
///
/// A program may meet another build than the one that it was linked with: distributions let an
/// administrator exchange the library.
///
/// openblasParallel  of `openblas_get_parallel`; an answer that is not known counts as unsafe
constexpr bool callsTakeTurns(int openblasParallel) { return openblasParallel != 1; }

/// Lives as long as one call into BLAS or LAPACK does. Where calls take turns, it waits for that of
/// another thread.
class CallGuard {
 public:
  explicit CallGuard(bool inTurn);

 private:
  std::unique_lock<std::mutex> turn_;
};

}  // namespace flightpath
