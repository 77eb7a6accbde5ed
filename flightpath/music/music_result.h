#pragma once

#include "flightpath/runtime/array.h"

/// What `MUSICLib::MUSIC1D` reports. Caller-owned; every field is overwritten.
///
/// PeakValues       pseudo-spectrum of each signal in decibels; 1 on the closed form. K x 1 on the
///                  classic route, 1 x K otherwise
/// NormalizedFreqs  1 x K, cycles per sample, one per detected signal
/// NumSignals       the signal count used, estimated or forced
/// ScannedFreqs     every frequency at which the pseudo-spectrum was evaluated, a row
/// PseudoSpectrum   its values there, in the same order
///
/// K may be smaller than NumSignals. The order is tallest peak first on the classic route, and that
/// of the coarse peaks, ascending, otherwise.
struct MUSICResult {
  coder::array<float, 2> PeakValues;
  coder::array<float, 2> NormalizedFreqs;
  float NumSignals = 0.0F;
  coder::array<float, 2> ScannedFreqs;
  coder::array<float, 1> PseudoSpectrum;
};
