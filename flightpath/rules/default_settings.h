#pragma once

class ToFEstimationParameters;

namespace flightpath {

/// What an estimate without any settings works with: smoothing and the closed form on, no grid of the
/// caller, no forced count, the default resolutions of the bandwidth.
///
/// parameters  as constructed; every number and switch of it is set, its arrays stay empty
void setDefaults(float numSubcarriers, float spacing_Hz, ToFEstimationParameters& parameters);

}  // namespace flightpath
