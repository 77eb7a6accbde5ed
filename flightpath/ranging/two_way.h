#pragma once

#include <complex>
#include <vector>

#include "flightpath/ranging/csi_rows.h"
#include "flightpath/runtime/export.h"

namespace flightpath {

/// Two-way measurements: the products of what two devices measured of each other, sample by sample.
///
///   z_mk = x_mk y_mk
///
/// x_mk is what the initiator measured of the reflector's signal at tone k of row m, y_mk what the
/// reflector measured of the initiator's. Each device mixes with an oscillator of its own, whose phase is
/// unknown and, where both tune anew for each tone, another one at each:
///
///   x_mk = h_mk exp(i (phi_R - phi_I)),   y_mk = h_mk exp(i (phi_I - phi_R))
///
/// In the product the two phases cancel, and z_mk = h_mk^2 is left,
/// whose delays are twice those of the distances: `RangingOptions::RoundTrip` halves the answers.
///
///   const auto z = flightpath::combineTwoWay({x, 72}, {y, 72});
///   options.RoundTrip = true;                       // besides spacing and tones
///   const flightpath::PathSet found = flightpath::Ranger(72, options).estimate({z, 72});
///
/// The square of a channel of K paths has K (K + 1) / 2: each path p of h at twice its delay, with the
/// square of its amplitude, and each pair p, q at the sum of their delays, with twice the product of
/// theirs. Halved, the paths stand at their distances and the pairs half way between two of them: the
/// first answer is the first path, the last one the last, and among those between there are pairs. That
/// holds where paths and pairs lie about a `ResolutionCell_m` from each other; a pair that falls near a
/// path displaces their neighbours too, by several deviations. Noise, which the products take over in
/// proportion to the channel's magnitude, is then not as white as deviations suppose.
///
/// initiator, reflector  rows of single or double precision, with strides of their own; either both or
///                       neither conjugated
/// returns               rows without gaps, in double precision, each product rounded as
///                       (a c - b d) + i (a d + b c). Where a part is NaN, so is the product's
///
/// Errors: std::invalid_argument, naming both, where the two differ in rows or in samples per row;
/// std::invalid_argument where either is incomplete or null; std::bad_alloc.
FLIGHTPATH_API std::vector<std::complex<double>> combineTwoWay(CsiRows initiator,
                                                               CsiRows reflector);

/// The same into `out`, whose storage is reused. It must not be what the rows are read from. If an error
/// ends the call, it is as it was.
FLIGHTPATH_API void combineTwoWay(CsiRows initiator, CsiRows reflector,
                                  std::vector<std::complex<double>>& out);

}  // namespace flightpath
