#pragma once

#include <array>
#include <cmath>
#include <limits>

/// The values that a program hands over by mistake, or that its arithmetic left behind.
namespace support {

struct BadValue {
  float value;
  const char* name;
};

inline constexpr float smallestSubnormal = std::numeric_limits<float>::denorm_min();
inline constexpr float largestSubnormal = 0x0.fffffep-126F;
inline constexpr float largestFloat = std::numeric_limits<float>::max();
inline constexpr float infinity = std::numeric_limits<float>::infinity();
inline constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

inline constexpr std::array<BadValue, 12> badValues = {{
    {notANumber, "NaN"},
    {-notANumber, "NaN with its sign bit set"},
    {infinity, "infinity"},
    {-infinity, "minus infinity"},
    {largestFloat, "the largest float"},
    {-largestFloat, "minus the largest float"},
    {largestSubnormal, "the largest subnormal"},
    {-largestSubnormal, "minus the largest subnormal"},
    {smallestSubnormal, "the smallest subnormal"},
    {-smallestSubnormal, "minus the smallest subnormal"},
    {0.0F, "zero"},
    {-0.0F, "minus zero"},
}};

/// At most the largest subnormal: beside samples of some size nothing but zero.
inline bool vanishes(float value) { return std::fabs(value) <= largestSubnormal; }

}  // namespace support
