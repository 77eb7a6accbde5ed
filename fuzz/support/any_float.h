#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <bit>
#include <cstdint>
#include <limits>

namespace fuzz {

inline constexpr float specialFloats[] = {
    0.0F,
    -0.0F,
    1.0F,
    -1.0F,
    0.5F,
    2.0F,
    3.0F,
    std::numeric_limits<float>::infinity(),
    -std::numeric_limits<float>::infinity(),
    std::numeric_limits<float>::quiet_NaN(),
    -std::numeric_limits<float>::quiet_NaN(),
    std::numeric_limits<float>::max(),
    std::numeric_limits<float>::lowest(),
    std::numeric_limits<float>::min(),
    std::numeric_limits<float>::denorm_min(),
    -std::numeric_limits<float>::denorm_min(),
    std::numeric_limits<float>::epsilon(),
    0.99999994F,     // the largest below 1
    8388608.0F,      // from here on all floats are whole numbers
    2147483648.0F,   // the first that no 32-bit integer holds
    -2147483904.0F,  // and the first below them
    1.0e19F,         // squares still fit
    1.0e-20F,        // squares underflow
};

/// Any float at all: one of the special ones, any bits, or an ordinary one.
inline float anyFloat(FuzzedDataProvider& data) {
  switch (data.ConsumeIntegral<std::uint8_t>() % 4) {
    case 0:
      return data.PickValueInArray(specialFloats);
    case 1:
      return std::bit_cast<float>(data.ConsumeIntegral<std::uint32_t>());
    case 2:
      return static_cast<float>(data.ConsumeIntegral<std::int16_t>()) / 32768.0F;
    default:
      return static_cast<float>(data.ConsumeIntegral<std::int8_t>());
  }
}

/// Any double at all: any bits, or a float of any kind.
inline double anyDouble(FuzzedDataProvider& data) {
  return data.ConsumeIntegralInRange(0, 3) == 0
             ? std::bit_cast<double>(data.ConsumeIntegral<std::uint64_t>())
             : static_cast<double>(anyFloat(data));
}

}  // namespace fuzz
