#pragma once

#include <cstddef>
#include <cstdint>

#include "flightpath/ranging/csi_rows.h"

namespace flightpath {

/// How many estimates the rows make.
///
/// Errors: std::invalid_argument, saying what was given and what is wanted, for rows that are not
/// numSubcarriers long, not whole, null, or no multiple of the rows that an estimate takes.
std::size_t countEstimates(const CsiRows& rows, std::uint32_t numSubcarriers,
                           std::uint32_t snapshotsPerEstimate);

}  // namespace flightpath
