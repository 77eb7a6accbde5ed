#pragma once

#include <cstdint>

#include "flightpath/runtime/detail/conversion.h"

namespace flightpath {

/// How many of `most` dimensions a signal count takes: a whole number, since counts that callers force
/// may be any float. Too many take all; negative ones and NaN take none.
inline std::int32_t signalDimensions(float numSignals, std::int32_t most) {
  return truncateWithin(numSignals, 0, most);
}

}  // namespace flightpath
