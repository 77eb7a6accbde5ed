#pragma once

#include <span>

namespace flightpath {

/// The mean of a periodogram over its noise level, by its median: 1 where what it is of is white, more
/// where it has structure.
///
/// numRows  of how many rows' periodograms it is the sum
/// work     as long as the powers
double structureOf(std::span<const float> powers, int numRows, std::span<float> work);

}  // namespace flightpath
