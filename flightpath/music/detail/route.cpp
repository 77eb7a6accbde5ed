#include "flightpath/music/detail/route.h"

#include "flightpath/rules/one_path_route.h"

namespace flightpath {

Route chooseRoute(float numSignals, int M, const SearchSettings& settings) {
  if (takesClosedForm(numSignals, settings.allowPhaseSlope && !settings.forceClassic)) {
    return Route::PhaseSlope;
  }
  if (settings.grid.empty()) {
    return Route::Fft;
  }
  if (settings.forceClassic || numSignals >= 0.5 * M) {
    return Route::Classic;
  }
  return Route::FftOnGrid;
}

}  // namespace flightpath
