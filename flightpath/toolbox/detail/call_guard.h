#pragma once

#include <mutex>

namespace flightpath {

/// How OpenBLAS was built, as `openblas_get_parallel` says.
///
/// Only the build with threads of its own may be called from several threads at once. The serial one has
/// no lock around its work space, and concurrent calls get wrong numbers; nor does the OpenMP
/// one, which also keeps a thread count per calling thread. A program may meet a build other than
/// that which it was linked with: distributions let an administrator exchange the library.
enum OpenBLASBuild { serialOpenBLAS = 0, threadedOpenBLAS = 1, openMPOpenBLAS = 2 };

/// Whether calls have to take turns. An answer that is not known counts as unsafe.
constexpr bool callsTakeTurns(int build) { return build != threadedOpenBLAS; }

/// Lives as long as one call into BLAS or LAPACK does. Where calls take turns, it waits for that of
/// another thread.
class CallGuard {
 public:
  explicit CallGuard(bool inTurn);

 private:
  std::unique_lock<std::mutex> turn_;
};

/// Keeps calls that take turns from beginning, once the one that is under way has ended: around a fork, so
/// that the child does not wait for a thread of its parent. On the same thread, one after the other.
void holdCalls();
void releaseCalls();

}  // namespace flightpath
