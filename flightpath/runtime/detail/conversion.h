#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>

/// Floating point to integer, for values that a caller chose: every result is representable.
namespace flightpath {

/// `value` truncated toward zero and limited to low ... high; NaN gives `low`.
inline std::int32_t truncateWithin(double value, std::int32_t low, std::int32_t high) {
  if (!(value > low)) {
    return low;
  }
  return value >= high ? high : static_cast<std::int32_t>(value);
}

/// `value` truncated toward zero as an element count; negative values and NaN give 0.
/// std::length_error, naming `what`, for more than an array can hold.
inline std::int32_t toElementCount(double value, const char* what) {
  constexpr std::int32_t most = std::numeric_limits<std::int32_t>::max();
  if (value >= static_cast<double>(most) + 1.0) {
    throw std::length_error(std::string(what) + ": more than 2147483647 elements");
  }
  return truncateWithin(value, 0, most);
}

}  // namespace flightpath
