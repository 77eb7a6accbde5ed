#pragma once

#include <cstdint>

/// The rules for options that a Ranger and a LineOfSight both have. Each throws std::invalid_argument, in
/// which `who` names the option, where it is broken.
namespace flightpath {

constexpr std::uint32_t mostSnapshots = 65535;
constexpr unsigned mostThreads = 1024;

void requireFiniteAboveZero(double value, const char* name, const char* who);

/// Between 0 and 1, and neither of them.
void requireProbability(double value, const char* name, const char* who);

void requireWithin(std::uint32_t value, std::uint32_t least, std::uint32_t most, const char* name,
                   const char* who);

void requireAtMost(std::uint32_t value, std::uint32_t most, const char* name, const char* who);

}  // namespace flightpath
