#pragma once

#include <cstdint>

#include "flightpath/runtime/array.h"

/// The grids of the two searches: one over the whole period, and one around each of its peaks.
namespace flightpath {

/// FFT length of the coarse search, 2^round(log2(1 / resolution)), in float.
///
/// NaN or below 1 for a resolution that is negative, NaN or above 1: there is nothing to search.
///
/// Errors: std::length_error, naming the resolution, for more than 2^24.
float coarseFFTLength(float coarseResolution);

/// The even offsets from a coarse peak, 1 x n: from -coarseResolution to +coarseResolution,
/// 2 coarseResolution / fineResolution + 1 of them.
///
/// elementsPerOffset  in the largest array that the caller will make from the offsets, at least 1
///
/// Errors: std::length_error, naming the resolutions, for more offsets than such an array can hold;
/// no memory is taken by then.
void fineOffsets(float coarseResolution, float fineResolution, std::int32_t elementsPerOffset,
                 coder::array<float, 2>& offsets);

}  // namespace flightpath
