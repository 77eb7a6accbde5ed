#pragma once

#include <cstddef>
#include <span>

#include "flightpath/ranging/csi_rows.h"

namespace flightpath {

/// The samples at these positions of one row, in double: a part per position.
void readRow(const CsiRows& rows, std::size_t row, std::span<const std::size_t> positions,
             std::span<double> re, std::span<double> im);

/// What brings the largest of these parts to within 1 ... 2, or as near as a double can scale in one
/// step: double subnormals come to some 2^-74, which is near enough. Parts that are not finite do not count.
double powerOfTwoScale(std::span<const double> re, std::span<const double> im);

/// Both parts times a factor.
void multiplyBy(double factor, std::span<double> re, std::span<double> im);

}  // namespace flightpath
