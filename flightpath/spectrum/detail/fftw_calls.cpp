#include "flightpath/spectrum/detail/fftw_calls.h"

#include <dlfcn.h>
#include <fftw3.h>

#include <complex>
#include <type_traits>

#include "flightpath/spectrum/planning_lock.h"

namespace flightpath::fftw {
namespace {

static_assert(forward == FFTW_FORWARD);
static_assert(backward == FFTW_BACKWARD);
static_assert(estimatePreservingInput == (FFTW_ESTIMATE | FFTW_PRESERVE_INPUT));
static_assert(sizeof(creal32_T) == sizeof(fftwf_complex));
static_assert(sizeof(std::complex<double>) == sizeof(fftw_complex));

/// Keeps the library that has this function of FFTW in the process when this one is unloaded: the next
/// one finds the planner as it was. FFTW itself gives back what its planner holds, some 170 KB, in
/// fftwf_cleanup alone, and that would take the host's plans with it. Where FFTW is part of the program, it
/// stays anyway.
bool keepLoaded(void* function) {
  Dl_info info = {};
  if (dladdr(function, &info) == 0) {
    return false;
  }
  void* const handle = dlopen(info.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
  return handle != nullptr && dlclose(handle) == 0;
}

// While the library is loaded, when the loader's lock is this thread's: a first plan that waited
// for it could wait for a thread that loads and plans.
[[maybe_unused]] const bool keptSingle = keepLoaded(reinterpret_cast<void*>(&fftwf_execute_dft));
[[maybe_unused]] const bool keptDouble = keepLoaded(reinterpret_cast<void*>(&fftw_execute));

class PlanningLock {
 public:
  PlanningLock() { lockFFTPlanningProcess(); }
  ~PlanningLock() { unlockFFTPlanningProcess(); }
  PlanningLock(const PlanningLock&) = delete;
  PlanningLock& operator=(const PlanningLock&) = delete;
};

fftwf_complex* native(creal32_T* data) { return reinterpret_cast<fftwf_complex*>(data); }

fftw_complex* native(std::complex<double>* data) { return reinterpret_cast<fftw_complex*>(data); }

fftwf_iodim firstDimension(const coder::internal::BoundedArray& dims) {
  const auto& [n, is, os] = dims.data[0];
  return {n, is, os};
}

}  // namespace

int alignmentOf(const creal32_T* data) {
  // FFTW looks at the address alone.
  return fftwf_alignment_of(reinterpret_cast<float*>(const_cast<creal32_T*>(data)));
}

fftwf_plan plan(const coder::internal::fft::fftw::PlanSpec& spec, creal32_T* in, creal32_T* out) {
  const fftwf_iodim dims = firstDimension(spec.dims);
  const fftwf_iodim howmanyDims = firstDimension(spec.howmanyDims);
  const PlanningLock lock;
  return fftwf_plan_guru_dft(spec.rank, &dims, spec.howmanyRank, &howmanyDims, native(in),
                             native(out), spec.sign, spec.flags);
}

fftwf_plan planRealInverse(int n, creal32_T* half, float* out) {
  const PlanningLock lock;
  return fftwf_plan_dft_c2r_1d(n, native(half), out, FFTW_ESTIMATE);
}

void executeRealInverse(fftwf_plan plan, creal32_T* half, float* out) {
  fftwf_execute_dft_c2r(plan, native(half), out);
}

void destroy(fftwf_plan plan) {
  const PlanningLock lock;
  fftwf_destroy_plan(plan);
}

void destroyHeld(coder::internal::fft::fftw::PlanCacheEntry& entry) {
  if (!entry.isEmpty && entry.plan != nullptr) {
    destroy(entry.plan);
    entry.plan = nullptr;
  }
}

fftw_plan planDouble(int n, std::complex<double>* in, std::complex<double>* out, int sign) {
  const PlanningLock lock;
  return fftw_plan_dft_1d(n, native(in), native(out), sign, FFTW_ESTIMATE | FFTW_PRESERVE_INPUT);
}

void execute(fftw_plan plan) { fftw_execute(plan); }

void destroy(fftw_plan plan) {
  const PlanningLock lock;
  fftw_destroy_plan(plan);
}

void execute(fftwf_plan plan, const creal32_T* in, creal32_T* out) {
  // FFTW takes no pointer to const. It leaves the input as it was where the plan was made to preserve
  // it, as those of coder::firfreqz are.
  fftwf_execute_dft(plan, native(const_cast<creal32_T*>(in)), native(out));
}

}  // namespace flightpath::fftw
