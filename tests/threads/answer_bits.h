#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "flightpath/api/entry/estimate_tof.h"
#include "flightpath/music/music_result.h"
#include "flightpath/music/tof_result.h"
#include "flightpath/ranging/ranger.h"
#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"
#include "tests/support/columns.h"

/// Whole answers as plain numbers, so that two of them compare by ==. Any NaN is the same NaN.
namespace support {

using Bits = std::vector<std::uint64_t>;

inline void append(Bits& bits, double value) {
  bits.push_back(std::isnan(value) ? ~std::uint64_t{0} : std::bit_cast<std::uint64_t>(value));
}

inline void append(Bits& bits, creal32_T value) {
  append(bits, value.re);
  append(bits, value.im);
}

template <class T>
void append(Bits& bits, const std::vector<T>& values) {
  bits.push_back(values.size());
  for (const T& value : values) {
    append(bits, static_cast<double>(value));
  }
}

template <class T, int N>
void append(Bits& bits, const coder::array<T, N>& values) {
  for (const std::int32_t extent : values.size) {
    bits.push_back(static_cast<std::uint64_t>(extent));
  }
  for (const T value : values) {
    append(bits, value);
  }
}

inline void append(Bits& bits, const ToFResult& result) {
  append(bits, result.Distances);
  append(bits, result.PeakValues);
  append(bits, result.NumSignals);
  append(bits, result.ScannedDistances);
  append(bits, result.PseudoSpectrum);
}

inline void append(Bits& bits, const MUSICResult& result) {
  append(bits, result.NormalizedFreqs);
  append(bits, result.PeakValues);
  append(bits, result.NumSignals);
  append(bits, result.ScannedFreqs);
  append(bits, result.PseudoSpectrum);
}

inline void append(Bits& bits, const ToFEstimate& estimate) {
  append(bits, estimate.Distances);
  append(bits, estimate.TimesOfFlight);
}

inline void append(Bits& bits, const flightpath::PathSet& paths) {
  append(bits, everythingIn(paths));
}

template <class Answer>
Bits bitsOf(const Answer& answer) {
  Bits bits;
  append(bits, answer);
  return bits;
}

}  // namespace support
