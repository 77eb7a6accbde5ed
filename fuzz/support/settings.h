#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include "flightpath/runtime/array.h"

/// The settings that the targets of both estimators choose.
namespace fuzz {

/// A scanning grid in cycles per sample: none, even over the period or a part of it, or any floats;
/// as a row, or as a matrix of which the estimators read the first elements. Every value is
/// multiplied by `unit`.
coder::array<float, 2> anyGrid(FuzzedDataProvider& data, float unit);

/// A switch: clear as often as not, else any byte.
inline unsigned char anySwitch(FuzzedDataProvider& data) {
  return data.ConsumeBool() ? data.ConsumeIntegral<unsigned char>() : 0;
}

/// A signal count: a whole number up to past N, or any float.
float anyCount(FuzzedDataProvider& data, int N);

/// A coarse resolution in cycles per sample: about 1 / (30 N), a power of two, or any float.
float anyCoarseResolution(FuzzedDataProvider& data, int N);

/// A fine resolution: a fraction of the coarse one, or any float.
float anyFineResolution(FuzzedDataProvider& data, float coarse);

/// An optional value: 1 x 1, absent in one of the ways that an array can be empty, or a larger matrix
/// of which the first element counts.
coder::array<float, 2> optionalValue(FuzzedDataProvider& data, float value);

/// Whether an estimate with these resolutions (cycles per sample) is either refused or small. The
/// library refuses FFTs beyond 2^24 points and fine grids beyond 2^31 - 1 points, and answers all
/// below, whatever memory and time that takes: requests between 2^13 and 2^24, between 2^10 and 2^31,
/// and of more than 2^18 for the product of both are left out here.
bool refusedOrSmall(float coarseResolution, float fineResolution);

}  // namespace fuzz
