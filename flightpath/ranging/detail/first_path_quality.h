#pragma once

#include "flightpath/ranging/path.h"

namespace flightpath {

/// The word of an estimate by maximum likelihood, by the rule of `Quality`.
///
/// first   its earliest path, where there is one
/// info    all of it but the word
/// cell_m  `RangingContext::ResolutionCell_m`
Quality firstPathQuality(const Path& first, const EstimateInfo& info, double cell_m);

}  // namespace flightpath
