#pragma once

#include <cstddef>
#include <functional>

namespace flightpath {

/// Called during a long batch: `done` of its `total` estimates are ready. Returns whether to go on.
using Progress = std::function<bool(std::size_t done, std::size_t total)>;

}  // namespace flightpath
