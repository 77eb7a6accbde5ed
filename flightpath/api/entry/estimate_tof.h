#pragma once

#include <optional>
#include <vector>

#include "flightpath/api/entry/csi.h"
#include "flightpath/runtime/export.h"

/// The propagation paths found in one measurement. Both lists have the same length and order.
///
/// Distances      metres, in the order of their coarse peaks: ascending, though the fine search may
///                exchange two that lie within a coarse step of each other
/// TimesOfFlight  seconds: each distance divided by 299792458.0
struct ToFEstimate {
  std::vector<double> Distances;
  std::vector<double> TimesOfFlight;
};

namespace MUSIC {

/// Distances and times of flight of the paths in one channel measurement: one call, nothing kept.
///
/// The reference method, by a dense eigen decomposition whose time grows with the cube of N. For many
/// measurements of one receiver, for several that share their paths, or for large N take
/// `flightpath::Ranger` (ranging/ranger.h): the same answers with Method = Music, 12 to 360 times
/// faster, and by default better ones, with deviations. For a grid of
/// distances or steps of your own take `MUSICLib::MUSICToF` (spectrum/estimator.h).
///
/// csi         the measurement; with N subcarriers the work space is a handful of L x L complex
///             matrices, L = 0.75 N, and the time that of one L x L eigen decomposition
/// numSignals  how many paths to search for; empty: estimate it. Fewer come back where fewer coarse
///             peaks pass the threshold (one very strong peak can hide the others); where more
///             pass, the smallest delays are kept, not the strongest. For L and more no noise space
///             is left and the answer is meaningless. For exactly one path the closed form (mean
///             phase slope) answers
/// returns one entry per path; none where no path stands out or the measurement is empty. Exactly one
///         path forced on fewer than two samples, none included, is one NaN: there is no phase step
///         to average
///
/// Sets the BLAS library to one thread, process-wide, on every call, and leaves it so. May be called
/// from several threads at once. The caller's rounding mode, flush-to-zero mode and traps do not
/// matter: the call works in the default environment and puts the caller's back.
///
/// Errors: std::length_error where L x L passes 2147483647 (N above 61,787), std::bad_alloc.
/// Non-finite samples give NaN, no path or a number without meaning, never an error.
///
/// Source: R. O. Schmidt, Multiple emitter location and signal parameter estimation, IEEE Trans.
/// Antennas Propag. 34(3), 1986; X. Li and K. Pahlavan, Super-resolution TOA estimation with
/// diversity for indoor geolocation, IEEE Trans. Wireless Commun. 3(1), 2004.
FLIGHTPATH_API ToFEstimate estimateToF(const CSI& csi,
                                       std::optional<unsigned char> numSignals = {});

}  // namespace MUSIC
