#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "flightpath/ranging/path_set.h"
#include "flightpath/runtime/span.h"

namespace support {

template <class T>
std::vector<T> toVector(flightpath::Span<const T> values) {
  return {values.begin(), values.end()};
}

/// The columns of a PathSet, which a test can put together by itself.
struct Columns {
  std::vector<std::size_t> offsets;
  std::vector<double> distances_m;
  std::vector<double> delays_s;
  std::vector<float> peaks_dB;
  std::vector<std::int32_t> numSignals;
  std::vector<flightpath::Outcome> outcomes;
};

inline Columns columnsOf(const flightpath::PathSet& set) {
  return {toVector(set.offsets()),  toVector(set.distances_m()), toVector(set.delays_s()),
          toVector(set.peaks_dB()), toVector(set.numSignals()),  toVector(set.outcomes())};
}

}  // namespace support
