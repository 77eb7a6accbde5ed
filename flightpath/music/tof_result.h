#pragma once

#include "flightpath/runtime/array.h"

/// What `MUSICLib::MUSICToF` reports. Caller-owned; every field is overwritten.
///
/// Distances         1 x K, metres, one per detected path
/// PeakValues        pseudo-spectrum of each path in decibels; 1 on the closed form. K x 1 on the
///                   classic route, 1 x K otherwise
/// NumSignals        the signal count used, estimated or forced
/// ScannedDistances  metres of every point at which the pseudo-spectrum was evaluated, a row
/// PseudoSpectrum    its values there, in the same order
///
/// K may be smaller than NumSignals. The order is tallest peak first on the classic route, and that
/// of the coarse peaks, ascending, otherwise.
struct ToFResult {
  coder::array<float, 2> Distances;
  coder::array<float, 2> PeakValues;
  float NumSignals = 0.0F;
  coder::array<float, 2> ScannedDistances;
  coder::array<float, 1> PseudoSpectrum;
};
