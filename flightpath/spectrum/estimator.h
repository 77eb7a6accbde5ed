#pragma once

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"
#include "flightpath/runtime/export.h"
#include "flightpath/spectrum/plan_cache.h"

class MUSICLib;
class MUSICParameters;
class ToFEstimationParameters;
struct MUSICResult;
struct ToFResult;

namespace coder::internal::fft::fftw {

/// Start and end of a cache's life. Holds nothing itself.
class FLIGHTPATH_API PlanCacheManager {
 public:
  /// Marks the cache of `obj` as never reached. Plans nothing.
  static void getSingletonSingleBoundedArrayCache_init(MUSICLib* obj);

  /// Destroys every plan of `obj`, each under the planning lock, and leaves null handles in the
  /// slots.
  static void deallocateCacheManager(MUSICLib* obj);
};

}  // namespace coder::internal::fft::fftw

/// The estimator object: the two estimation methods and the FFT plans that they keep.
///
/// Keep one and call it again: plans are made once per length. Only one thread at a time may use an
/// object; threads that each have their own may estimate concurrently.
class FLIGHTPATH_API MUSICLib {
 public:
  /// Plans nothing.
  MUSICLib();

  /// Destroys the plans.
  ~MUSICLib();

  MUSICLib(const MUSICLib&) = delete;
  MUSICLib& operator=(const MUSICLib&) = delete;
  MUSICLib(MUSICLib&&) = delete;
  MUSICLib& operator=(MUSICLib&&) = delete;

  /// Path distances from one channel measurement.
  ///
  ///   count the signals; with exactly one, the closed form where it is allowed; without a grid of
  ///   the caller, a coarse FFT search refined on fine grids; with one, the classic search on it
  ///   where `ForceClassic` asks for it or at least half the space is signal, and otherwise the
  ///   coarse search refined on the caller's grid points
  ///
  /// x       one complex sample per subcarrier
  /// params  read only
  /// result  every field is overwritten; without a path the lists are empty, NumSignals is set
  ///
  /// Non-finite samples and settings flow through: to NaN, to no path, or to numbers without meaning;
  /// nothing is reported.
  ///
  /// BLAS runs on as many threads as the process has set it to.
  ///
  /// Errors: std::length_error where a resolution asks for more than 2^24 coarse points, or a
  /// matrix or fine grid for more than 2147483647 elements; std::bad_alloc. The result is then left
  /// part-filled; params and x are untouched and the object stays usable.
  void MUSICToF(const coder::array<creal32_T, 1>& x, const ToFEstimationParameters* params,
                ToFResult* result);

  /// Normalised frequencies (cycles per sample) of the signals in any uniformly sampled vector: the
  /// same method without the distances. x, result and errors as above.
  void MUSIC1D(const coder::array<creal32_T, 1>& x, const MUSICParameters* params,
               MUSICResult* result);

  /// Address of the pointer through which the plan cache is reached.
  coder::internal::fft::fftw::PlanCache** getStackData();

 private:
  coder::internal::fft::fftw::PlanCache planCache_;
  [[maybe_unused]] coder::internal::fft::fftw::PlanCacheManager planCacheManager_;
  coder::internal::fft::fftw::PlanCache* stackData_;
};
