#pragma once

#include <cstdint>
#include <span>

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"

namespace flightpath {

/// The frequencies to look at around each coarse peak: a matrix with one column per peak, so that every
/// peak gets as many as the one that has fewest.

/// candidates(:, k) := coarse(k) + offsets, the offsets evenly spaced from -coarseResolution to
/// +coarseResolution, 2 coarseResolution / fineResolution + 1 of them.
///
/// Errors: std::length_error, naming the resolutions, for more candidates than an array can hold, and
/// for more than the steering vectors of one peak can have, which take M elements each.
void evenCandidates(const coder::array<float, 1>& coarse, float coarseResolution,
                    float fineResolution, std::int32_t M, coder::array<float, 2>& candidates);

/// candidates(:, k) := the first m points of the caller's grid, in grid order, that lie closer than
/// coarseResolution to coarse(k); m is the smallest number of such points over all peaks.
void gridCandidates(const coder::array<float, 1>& coarse, std::span<const float> grid,
                    float coarseResolution, coder::array<float, 2>& candidates);

/// Moves every coarse peak to its best candidate.
///
///   pseudoSpectrum  all values of the steering-vector pseudo-spectrum, column after column
///   freqs(k)        the candidate of the largest value in column k, the first of equals
///   peakValues(k)   that value
///
/// freqs and peakValues are 1 x K, and 1 x 0 where the columns are empty.
void refine(const coder::array<creal32_T, 2>& noise, const coder::array<float, 2>& candidates,
            coder::array<float, 1>& pseudoSpectrum, coder::array<float, 2>& freqs,
            coder::array<float, 2>& peakValues);

}  // namespace flightpath
