#pragma once

#include <cstddef>
#include <cstdint>

#include "flightpath/ranging/csi_rows.h"

namespace flightpath {

/// How many rows there are.
///
/// caller  begins the messages: "Ranger::estimate"
///
/// Errors: std::invalid_argument, saying what was given and what is wanted, for rows that are empty, overlap,
/// are incomplete or null.
std::size_t countRows(const CsiRows& rows, const char* caller);

/// How many estimates the rows make.
///
/// Errors: std::invalid_argument, saying what was given and what is wanted, for rows that are not
/// numSubcarriers long, incomplete, null, or not a multiple of the rows per estimate.
std::size_t countEstimates(const CsiRows& rows, std::uint32_t numSubcarriers,
                           std::uint32_t snapshotsPerEstimate);

}  // namespace flightpath
