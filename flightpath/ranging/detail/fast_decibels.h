#pragma once

#include <bit>
#include <cstdint>

namespace flightpath {

/// 20 log10(x) for a positive normal float, to some 1e-5 dB, without a call: the coarse spectrum takes
/// thousands of them.
///
///   x = m 2^e with m in [sqrt(1/2), sqrt(2)),  s = (m - 1) / (m + 1)
///   ln m = 2 (s + s^3 / 3 + s^5 / 5 + s^7 / 7 + ...),  |s| < 0.172: the rest is below 3e-8
inline float fastDecibels(float x) {
  constexpr std::uint32_t sqrtHalf = 0x3F3504F3U;  // bits of sqrt(1/2)
  constexpr float decibelsOfTwo = 6.0205999F;
  constexpr float decibelsOfE = 8.6858896F;
  const std::uint32_t bits = std::bit_cast<std::uint32_t>(x) - sqrtHalf;
  const auto e = static_cast<float>(static_cast<std::int32_t>(bits) >> 23);
  const float m = std::bit_cast<float>((bits & 0x007FFFFFU) + sqrtHalf);
  const float s = (m - 1.0F) / (m + 1.0F);
  const float q = s * s;
  const float series = 1.0F + q * (1.0F / 3.0F + q * (1.0F / 5.0F + q * (1.0F / 7.0F)));
  return e * decibelsOfTwo + 2.0F * s * series * decibelsOfE;
}

}  // namespace flightpath
