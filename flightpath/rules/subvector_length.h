#pragma once

#include <cmath>
#include <cstdint>

namespace flightpath {

/// L, the length of the subvectors that smoothing cuts N samples into: 0.75 N, halves rounded up.
inline std::int32_t subvectorLength(std::int32_t N) {
  return static_cast<std::int32_t>(std::round(0.75 * N));
}

}  // namespace flightpath
