#pragma once

#include <cstdint>
#include <span>

#include "flightpath/runtime/complex.h"
#include "flightpath/toolbox/detail/call_guard.h"

/// The library's calls into BLAS, all of them. `blas.cpp` alone knows which one it is.
namespace flightpath::blas {

/// The guard of a call into the BLAS, or into the LAPACK on top of it, that this process has met.
CallGuard guardCall();

/// Makes BLAS work on the calling thread only: process-wide, and part of which bits come out. It stays so,
/// also where a `OneThread` of another thread ends later.
void useOneThread();

/// While any of these lives, on whatever thread, BLAS works on the calling thread only. The last one gives
/// back the count of threads that the first one found, unless another one was set meanwhile. It ends on the
/// thread that made it.
///
/// In a forked process those of the parent's other threads have ended, and the next one to end there gives
/// back what they had found.
class OneThread {
 public:
  OneThread();
  ~OneThread();
  OneThread(const OneThread&) = delete;
  OneThread& operator=(const OneThread&) = delete;
};

enum class Transpose { None, Conjugate };

/// A matrix operand: column-major, leading dimension = rows.
struct Operand {
  const creal32_T* data;
  std::int32_t rows;
  Transpose transpose;
};

/// C := op(A) op(B), with op(A) m x k, op(B) k x n and C m x n, in one product call.
///
/// m, n and k are positive: a product without elements never gets here, since BLAS refuses a
/// leading dimension of 0.
void multiply(std::int32_t m, std::int32_t n, std::int32_t k, Operand a, Operand b, creal32_T* c);

/// C := A B in double, with A m x k, B k x n and C m x n, all column-major without gaps.
void multiplyReal(std::int32_t m, std::int32_t n, std::int32_t k, const double* a, const double* b,
                  double* c);

/// Euclidean norm, free of overflow.
float norm2(std::span<const float> x);

}  // namespace flightpath::blas
