#pragma once

#include <cstddef>
#include <functional>

namespace flightpath {

/// Told during a long batch how many of all its estimates are done; returns whether to go on.
using Progress = std::function<bool(std::size_t done, std::size_t total)>;

}  // namespace flightpath
