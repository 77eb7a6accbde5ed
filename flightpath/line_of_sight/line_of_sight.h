#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "flightpath/line_of_sight/direct_path.h"
#include "flightpath/line_of_sight/line_of_sight_options.h"
#include "flightpath/ranging/csi_rows.h"
#include "flightpath/ranging/progress.h"
#include "flightpath/runtime/export.h"

namespace flightpath {

/// The distance indoors: one direct path, and behind it a tail of reflections too many to tell apart.
///
///   flightpath::LineOfSightOptions options;
///   options.SubcarrierSpacing = 312500;
///   flightpath::LineOfSight lineOfSight(64, options);      // keep it
///   for (const flightpath::DirectPath& direct : lineOfSight.estimate({csi, 64})) {
///     ... direct.Distance_m ... direct.Lower_m ... direct.Probability ...
///   }
///
/// The model of the samples of a row is
///
///   y_k = a exp(-i 2 pi tau spacing c_k) + g_k + noise,   noise power ~ 1 / w_k
///
/// with c_k a tone's index less the mean index. The tail g is zero-mean complex Gaussian; its power
/// begins at tau and decays exponentially,
///
///   E g_k conj(g_l) = P exp(-i 2 pi tau spacing (c_k - c_l)) / (1 + i 2 pi spacing (c_k - c_l) T)
///
/// P over the noise and the decay time T stand on a grid of 5 x 7, from 0 to 40 dB and from 0.3 of the
/// resolution cell to `LongestDecay` (at least 3 cells), and no tail besides, as likely beforehand as any
/// one strength. The amplitude a is normal beforehand, with g = n, 100 n or 10,000 n (several rows: n / 10
/// too) times the variance that its estimate has; the scale of the noise has the prior 1 / variance; tau is uniform over the window.
/// All but tau are integrated out, in closed form or by sums over the grid, and tau's density is
/// integrated at points as dense as it is narrow.
///
/// **When to take which.** With few discrete paths, in a cable, in a hall with two walls, `Ranger` has a
/// tenth of the error. Where reflections fill the delays behind the first path, its paths are
/// mixtures of them and their deviations mean little: then this one has half of the error, and an
/// interval that holds. Nothing in the samples tells the two cases apart safely; `ProfileMisfit`
/// far above 1 says that this model was the wrong one.
///
/// With S = SnapshotsPerEstimate above 1, S consecutive rows share tau, P and T; amplitudes and tails
/// are each row's own. Errors fall; but eight rows of K = 0 dB know tau so well that what the grid leaves
/// of the true profile shows, and errors are 1.2 times the deviation.
///
/// Bit for bit, results depend only on the rows of an estimate: not on its neighbours in the batch, nor
/// on the number of threads or the caller's floating-point modes.
///
/// A LineOfSight keeps its plans, work space and threads: on one thread `estimate` into a vector that is
/// large enough allocates nothing. Only one thread at a time may use it.
///
/// Constructor and `estimate` set the BLAS library to one thread and give its count back, as `Ranger` does.
///
/// In a forked child a LineOfSight answers as in the parent: its first estimate there starts threads anew, and
/// one that is destroyed there waits for none. One that another thread was using at the moment of the fork
/// is left alone in the child.
///
/// Source: g = n is the unit information prior, R. Kass and L. Wasserman, A reference Bayesian test for nested
/// hypotheses and its relationship to the Schwarz criterion, J. Amer. Statist. Assoc. 90(431), 1995;
/// docs/line_of_sight.md for the errors and coverage measured.
class FLIGHTPATH_API LineOfSight {
 public:
  /// numSubcarriers  N, 4 ... 4096: how many samples a row has
  ///
  /// Errors: std::invalid_argument, naming the argument; std::bad_alloc; std::system_error where the
  /// system refuses a thread.
  LineOfSight(std::uint32_t numSubcarriers, const LineOfSightOptions& options);
  ~LineOfSight();
  LineOfSight(const LineOfSight&) = delete;
  LineOfSight& operator=(const LineOfSight&) = delete;
  LineOfSight(LineOfSight&&) noexcept;
  LineOfSight& operator=(LineOfSight&&) noexcept;

  /// The direct path of every estimate in a batch, in order.
  ///
  /// rows      rows of N samples, S per estimate
  /// progress  as in `Ranger::estimate`; after a stop the answers are those finished by then
  ///
  /// Errors: std::invalid_argument where the rows are not N samples long, are incomplete, are null,
  /// or are no multiple of S; std::logic_error for a LineOfSight that was moved from; std::bad_alloc;
  /// std::system_error where a forked child is refused a thread; whatever `progress` throws. It stays
  /// usable.
  std::vector<DirectPath> estimate(CsiRows rows, const Progress& progress = {});

  /// The same into `out`, whose storage is reused. If an error ends the call, it is empty.
  void estimate(CsiRows rows, std::vector<DirectPath>& out, const Progress& progress = {});

 private:
  class Batch;
  std::unique_ptr<Batch> batch_;
};

}  // namespace flightpath
