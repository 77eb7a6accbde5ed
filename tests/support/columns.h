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

/// Every number of a PathSet, for comparisons of bits.
inline std::vector<double> everythingIn(const flightpath::PathSet& set) {
  std::vector<double> all = {set.complete() ? 1.0 : 0.0,
                             static_cast<double>(set.rowsPerEstimate())};
  const auto add = [&all](const auto& column) {
    for (const auto value : column) {
      all.push_back(static_cast<double>(value));
    }
  };
  add(set.offsets());
  add(set.covarianceOffsets());
  add(set.numSignals());
  add(set.outcomes());
  add(set.phaseOnly());
  add(set.qualities());
  add(set.peaks_dB());
  for (const auto& column :
       {set.distances_m(), set.delays_s(), set.deviations_m(), set.SNRs_dB(), set.lowers_m(),
        set.uppers_m(), set.covariances_m2(), set.noisePowers(), set.residualStructures(),
        set.weakestMargins(), set.nextMargins()}) {
    add(column);
  }
  for (const auto amplitude : set.amplitudes()) {
    all.push_back(amplitude.real());
    all.push_back(amplitude.imag());
  }
  return all;
}

}  // namespace support
