#pragma once

#include <complex>

#include "flightpath/runtime/complex.h"
#include "flightpath/spectrum/plan_cache.h"

// FFTW's own declaration of its double-precision plan handle, as plan_cache.h has that of the single one.
struct fftw_plan_s;
typedef struct fftw_plan_s* fftw_plan;  // NOLINT(modernize-use-using)

/// The library's calls into FFTW, all of them. `fftw_calls.cpp` alone includes its header.
namespace flightpath::fftw {

constexpr int forward = -1;                       // FFTW_FORWARD
constexpr int backward = 1;                       // FFTW_BACKWARD
constexpr unsigned estimatePreservingInput = 80;  // FFTW_ESTIMATE | FFTW_PRESERVE_INPUT

/// What FFTW's vector code sees of an address; plans hold only for arrays that agree in it.
int alignmentOf(const creal32_T* data);

/// A plan for the key's transform from `in` to `out`, made under the planning lock; null where FFTW
/// refuses. Neither array is touched when the flags say estimate.
fftwf_plan plan(const coder::internal::fft::fftw::PlanSpec& spec, creal32_T* in, creal32_T* out);

/// A plan for the inverse transform of n / 2 + 1 half-complex values to n real ones, made under the
/// planning lock; null where FFTW refuses. Running it destroys its input.
fftwf_plan planRealInverse(int n, creal32_T* half, float* out);

/// Runs such a plan on its arrays.
void executeRealInverse(fftwf_plan plan, creal32_T* half, float* out);

/// Destroys a plan under the planning lock. Null is fine.
void destroy(fftwf_plan plan);

/// Destroys the plan that a slot holds and leaves a null handle. A null handle, left by a planner that
/// refused, is not FFTW's.
void destroyHeld(coder::internal::fft::fftw::PlanCacheEntry& entry);

/// A plan for one transform of n values in double precision, made under the planning lock; null where
/// FFTW refuses. Neither array is touched; running it leaves its input as it is.
fftw_plan planDouble(int n, std::complex<double>* in, std::complex<double>* out, int sign);

/// Runs such a plan on the arrays that it was made for.
void execute(fftw_plan plan);

/// Destroys such a plan under the planning lock. Null is fine.
void destroy(fftw_plan plan);

/// Runs a plan on arrays of the alignment that it was made for.
void execute(fftwf_plan plan, const creal32_T* in, creal32_T* out);

}  // namespace flightpath::fftw
