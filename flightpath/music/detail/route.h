#pragma once

#include "flightpath/music/detail/search_settings.h"

namespace flightpath {

/// The four ways of looking for paths.
///
/// PhaseSlope  the closed form for one path
/// Fft         coarse FFT search, refined on even offsets
/// FftOnGrid   coarse FFT search, refined on the caller's grid points
/// Classic     steering vectors on the caller's grid
enum class Route { PhaseSlope, Fft, FftOnGrid, Classic };

/// How to look for numSignals signals in a space of M dimensions. A NaN count is never 1.
Route chooseRoute(float numSignals, int M, const SearchSettings& settings);

}  // namespace flightpath
