#pragma once

#include "flightpath/api/detail/speed_of_light.h"

namespace flightpath {

/// The distance that belongs to the normalised frequency `nf` at a subcarrier spacing of `df` hertz.
inline float toDistance(float nf, float df) { return (nf / df) * speedOfLight_mps; }

}  // namespace flightpath
