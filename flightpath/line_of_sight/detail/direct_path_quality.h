#pragma once

#include "flightpath/line_of_sight/direct_path.h"

namespace flightpath {

/// The word of an answer, by the rule of `Quality`.
///
/// direct       all of it but the word
/// isPhaseOnly  whether its samples carry phase alone
/// cell_m       the distance that belongs to one over the bandwidth
Quality directPathQuality(const DirectPath& direct, bool isPhaseOnly, double cell_m);

}  // namespace flightpath
