#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "flightpath/runtime/complex.h"
#include "flightpath/runtime/export.h"

namespace flightpath {

/// What a `Ranger` is told once.
///
/// SubcarrierSpacing      hertz, finite and above 0
/// NumSignals             forced number of paths; empty: estimate it
/// PhaseSlopeForOnePath   the closed form where there is exactly one path
/// Threads                how many work on a batch, at most 1024; 0: one for each core
struct RangingOptions {
  double SubcarrierSpacing = 0;
  std::optional<unsigned char> NumSignals;
  bool PhaseSlopeForOnePath = true;
  unsigned Threads = 1;
};

/// The paths of a batch. Those of measurement i stand at [Offsets[i], Offsets[i + 1]).
///
/// Offsets        count + 1
/// Distances      metres; those of one measurement in the order of their coarse peaks
/// TimesOfFlight  seconds: each distance divided by 299792458.0
/// PeakValues     decibels of the refined pseudo-spectrum; 1 on the closed form
/// NumSignals     one a measurement: the signal count used, estimated or forced
struct PathSet {
  std::vector<std::size_t> Offsets;
  std::vector<double> Distances;
  std::vector<double> TimesOfFlight;
  std::vector<float> PeakValues;
  std::vector<float> NumSignals;
};

/// The answers of `MUSIC::estimateToF` for many measurements of one receiver, without the dense
/// L x L eigen decomposition: one to two orders faster, from the structure of the covariance.
///
/// The eigenvalues and signal eigenvectors come from a real symmetric matrix of order 2 (N - L + 1),
/// about N / 2, in double precision; the criterion, the threshold, the grids and the tie rules are
/// those of the dense route. It differs from it where the dense route counts rounding noise of its
/// own (see ARCHITECTURE.md, and docs/benchmarks.md for how often), and in two rules: a measurement
/// with a NaN or infinite sample has 0 signals and no path, also with a forced count; and the unit of
/// the samples does not matter, where the dense route's products may leave single precision.
///
/// Results depend on the measurement alone: not on its neighbours in the batch, not on the number of
/// threads, nor on the caller's floating-point modes, bit for bit.
///
/// Sets the BLAS library to one thread, process-wide, on every call, as `MUSIC::estimateToF` does.
///
/// A Ranger keeps its plans, work space and threads; after the first call of a size, `estimate` into
/// a reused PathSet allocates nothing on one thread. The work space takes about 7 N^2 bytes a thread,
/// from the construction on. One Ranger is used by one thread at a time.
class FLIGHTPATH_API Ranger {
 public:
  /// numSubcarriers  N, 1 ... 65535
  ///
  /// Errors: std::invalid_argument, naming the argument; std::bad_alloc.
  Ranger(std::uint32_t numSubcarriers, const RangingOptions& options);
  ~Ranger();
  Ranger(const Ranger&) = delete;
  Ranger& operator=(const Ranger&) = delete;
  Ranger(Ranger&&) noexcept;
  Ranger& operator=(Ranger&&) noexcept;

  /// csi    count rows of N samples, one measurement a row; may be null for count = 0
  /// count  how many
  ///
  /// Errors: std::invalid_argument for a null pointer, std::logic_error for a Ranger that was moved
  /// from, std::bad_alloc. The Ranger stays usable.
  PathSet estimate(const creal32_T* csi, std::size_t count);

  /// The same into `out`, whose storage is used again.
  void estimate(const creal32_T* csi, std::size_t count, PathSet& out);

 private:
  class Batch;
  std::unique_ptr<Batch> batch_;
};

}  // namespace flightpath
