#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "flightpath/ranging/csi_rows.h"
#include "flightpath/ranging/path_set.h"
#include "flightpath/ranging/progress.h"
#include "flightpath/ranging/ranging_options.h"
#include "flightpath/runtime/export.h"

namespace flightpath {

/// Path distances of many measurements of one receiver.
///
///   flightpath::RangingOptions options;
///   options.SubcarrierSpacing = 312500;
///   flightpath::Ranger ranger(64, options);                // keep it
///   const flightpath::PathSet found = ranger.estimate({csi, 64});
///   for (const flightpath::Path path : found[0]) { ... path.Distance_m ... path.Deviation_m ... }
///
/// **Maximum likelihood**, the default method, explains the samples by paths and white noise:
///
///   y_mk = sum over p of a_pm exp(-i 2 pi tau_p spacing c_k) + noise,   noise power ~ 1 / w_k
///
/// y_mk is the sample of row m at tone k, c_k that tone's index less the mean index, tau_p the delay of
/// path p and a_pm its amplitude in row m. The delays minimise what is left, the amplitudes are those
/// that go with them. A path counts where noise alone would look like it in a share `FalseAlarm` of all
/// measurements. Deviations come from the Fisher information at the answer and the power of what is
/// left. Errors lie at the Cramer-Rao bound from 5 dB up (64 tones, three paths); docs/trust.md shows
/// where deviations hold and where not. Its start is MUSIC where there is one row of evenly spaced
/// tones.
///
/// **Music** gives the answers of `MUSIC::estimateToF`, 12 (N = 30) to 360 (N = 1992) times faster:
/// eigenvalues and signal eigenvectors come from a real symmetric matrix of order about N / 2, in
/// double precision, without the dense L x L eigen decomposition; criterion, threshold, grids and
/// tie rules are the same functions. The two differ where the dense route counts its own rounding
/// noise (ARCHITECTURE.md; docs/benchmarks.md for how often), and in two rules: a measurement with
/// a NaN or infinite sample has no path, even with a forced count; and the unit of the samples does
/// not matter, where the dense route's products may leave single precision.
///
/// Several measurements may share their paths: with S = SnapshotsPerEstimate above 1, S consecutive rows
/// give one estimate. Maximum likelihood refines the delays of all rows together, each row with
/// amplitudes of its own. By Music
///
///   covariance   the mean of the S smoothed covariances, of rank L where one alone has 2 (N - L + 1)
///   count        minimum over k of penalty(k) + S (L - k) log(AM / GM), the likelihood of S snapshots
///   search       that of one measurement, in the signal space of the mean covariance
///   closed form  the angle of the sum over the rows of x(k + 1) conj(x(k)), averaged over k
///
/// With S = 1 these are the formulas of one measurement. Rows may differ in phase and in power, and
/// count in proportion to their power; a NaN or infinity in one row spoils the whole estimate.
///
/// Bit for bit, results depend only on the rows of an estimate: not on its neighbours in the batch,
/// nor on the number of threads or the caller's floating-point modes.
///
/// Sets the BLAS library to one thread, process-wide, while a call lasts. The last of the calls that overlap
/// gives the count back that the first one found, unless the host, or `MUSIC::estimateToF`, has set another
/// one meanwhile.
///
/// In a forked child a Ranger answers as in the parent: its first estimate there starts threads anew, and
/// one that is destroyed there waits for none. One that another thread was using at the moment of the fork
/// is left alone in the child.
///
/// A Ranger keeps its plans, work space and threads: on one thread `estimate` into a reused PathSet
/// allocates nothing once both have held as many estimates and paths. The work space, made at
/// construction, takes about 7 N^2 bytes per thread for large N, and 16 N^2 + 16 N S where rows share
/// an estimate by Music. Maximum likelihood takes about 2 kB per tone and 0.1 kB per sample of an
/// estimate besides. Only one thread at a time may use a Ranger.
///
/// Source: P. Stoica and A. Nehorai, MUSIC, maximum likelihood, and Cramer-Rao bound, IEEE Trans.
/// Acoust., Speech, Signal Process. 37(5), 1989, and docs/trust.md; MUSIC as in `MUSIC::estimateToF`;
/// several snapshots after M. Wax and T. Kailath, Detection of signals by information theoretic
/// criteria, IEEE Trans. Acoust., Speech, Signal Process. 33(2), 1985.
class FLIGHTPATH_API Ranger {
 public:
  /// numSubcarriers  N, 1 ... 65535: how many samples a row has
  ///
  /// Errors: std::invalid_argument, naming the argument; std::bad_alloc; std::system_error where the
  /// system refuses a thread.
  Ranger(std::uint32_t numSubcarriers, const RangingOptions& options);
  ~Ranger();
  Ranger(const Ranger&) = delete;
  Ranger& operator=(const Ranger&) = delete;
  Ranger(Ranger&&) noexcept;
  Ranger& operator=(Ranger&&) noexcept;

  /// The paths of every estimate in a batch.
  ///
  /// rows      rows of N samples, S per estimate
  /// progress  called from the calling thread between estimates, at most every 50 ms and never for
  ///           batches that take less; where it returns false, the answers are those of the estimates
  ///           finished by then, and say so (`PathSet::complete`). It uses neither this Ranger nor
  ///           the PathSet that is being filled
  ///
  /// Errors: std::invalid_argument where the rows are not N samples long, are incomplete, are null,
  /// or are no multiple of S; std::logic_error for a Ranger that was moved from; std::bad_alloc;
  /// std::system_error where a forked child is refused a thread; whatever `progress` throws. The Ranger
  /// stays usable.
  PathSet estimate(CsiRows rows, const Progress& progress = {});

  /// The same into `out`, whose storage is reused. If an error ends the call, it holds no estimate.
  void estimate(CsiRows rows, PathSet& out, const Progress& progress = {});

 private:
  class Batch;
  std::unique_ptr<Batch> batch_;
};

}  // namespace flightpath
