#pragma once

#include "flightpath/music/detail/search_settings.h"
#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"

class MUSICLib;

namespace flightpath {

/// Where an estimate goes: the caller's arrays, resized here. The lists are rows, but for the
/// peak values of the classic route, which are a column.
struct SearchReport {
  coder::array<float, 2>& freqs;
  coder::array<float, 2>& peakValues;
  float& numSignals;
  coder::array<float, 2>& scannedFreqs;
  coder::array<float, 1>& pseudoSpectrum;
};

/// The normalised frequencies in x: count the signals, choose the route, search, report.
void estimateFrequencies(MUSICLib* obj, const coder::array<creal32_T, 1>& x,
                         const SearchSettings& settings, SearchReport report);

}  // namespace flightpath
