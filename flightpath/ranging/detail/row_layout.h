#pragma once

#include <cstddef>
#include <cstdint>

#include "flightpath/ranging/csi_rows.h"

namespace flightpath {

/// How many estimates the rows make.
///
/// Errors: std::invalid_argument, saying what was given and what is wanted, for rows that are not
/// numSubcarriers long, incomplete, null, or not a multiple of the rows per estimate.
std::size_t countEstimates(const CsiRows& rows, std::uint32_t numSubcarriers,
                           std::uint32_t snapshotsPerEstimate);

}  // namespace flightpath
