#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "flightpath/ranging/csi_rows.h"

namespace flightpath {

/// How many rows there are; padding behind the last one may be there or not. None where there is no
/// sample, and rows have none.
///
/// Errors: std::invalid_argument, in which `who` complains, for rows that are incomplete, null, longer
/// than their stride, or of no sample each.
std::size_t countRows(const CsiRows& rows, const char* who);

/// The tones of a row of so many samples: those that are stated, or where there are none 0 ... n - 1.
std::vector<int> tonesOfRow(const std::vector<int>& stated, std::size_t numSubcarriers);

/// How many estimates the rows make.
///
/// Errors: std::invalid_argument, in which `who` says what was given and what is wanted, for rows that are not
/// numSubcarriers long, incomplete, null, or not a multiple of the rows per estimate.
std::size_t countEstimates(const CsiRows& rows, std::uint32_t numSubcarriers,
                           std::uint32_t snapshotsPerEstimate, const char* who);

}  // namespace flightpath
