#pragma once

namespace flightpath {

/// Metres a second, as the nearest float: 299792448. The single-precision conversions use it.
constexpr float speedOfLight_mps = 299792458.0F;

/// Metres a second, exactly. The final step from distance to time of flight uses it.
constexpr double exactSpeedOfLight_mps = 299792458.0;

}  // namespace flightpath
