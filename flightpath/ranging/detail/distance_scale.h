#pragma once

#include "flightpath/api/detail/speed_of_light.h"
#include "flightpath/ranging/ranging_options.h"

namespace flightpath {

/// How far the signal goes per metre of distance: there, or there and back. A power of two: every answer
/// is exactly half of what it would be.
inline double travelPerDistance(const RangingOptions& options) {
  return options.RoundTrip ? 2.0 : 1.0;
}

/// The distance that belongs to one period of the phase between tones `spacing_Hz` apart:
/// c / spacing / (RoundTrip ? 2 : 1).
inline double distancePerPeriod(double spacing_Hz, const RangingOptions& options) {
  return exactSpeedOfLight_mps / spacing_Hz / travelPerDistance(options);
}

}  // namespace flightpath
