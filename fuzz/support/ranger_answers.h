#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include "flightpath/ranging/ranger.h"
#include "fuzz/support/require.h"
#include "fuzz/support/same_list.h"
#include "fuzz/support/samples.h"
#include "tests/support/same_bits.h"

namespace fuzz {

using flightpath::PathSet;
using flightpath::Ranger;

/// The buffer is exactly as long as the batch: one sample further is a finding.
inline void estimate(Ranger& ranger, const std::vector<Samples>& rows, PathSet& paths) {
  Samples buffer;
  for (const Samples& row : rows) {
    buffer.insert(buffer.end(), row.begin(), row.end());
  }
  buffer.shrink_to_fit();
  const Samples before = buffer;
  ranger.estimate(buffer.data(), rows.size(), paths);
  require(sameList(before, buffer), "the samples are read only");
}

/// The answer for one measurement of a batch.
struct Answer {
  float numSignals;
  std::vector<double> distances;
  std::vector<float> peakValues;
};

inline std::vector<Answer> answers(const PathSet& p) {
  std::vector<Answer> all;
  for (std::size_t i = 0; i + 1 < p.Offsets.size(); ++i) {
    const auto first = static_cast<std::ptrdiff_t>(p.Offsets[i]);
    const auto last = static_cast<std::ptrdiff_t>(p.Offsets[i + 1]);
    all.push_back({p.NumSignals[i],
                   {p.Distances.begin() + first, p.Distances.begin() + last},
                   {p.PeakValues.begin() + first, p.PeakValues.begin() + last}});
  }
  return all;
}

inline void requireSame(const Answer& a, const Answer& b, const char* what) {
  require(support::sameBits(a.numSignals, b.numSignals) && sameList(a.distances, b.distances) &&
              sameList(a.peakValues, b.peakValues),
          what);
}

/// Sizes, offsets and times of a result for `count` measurements.
inline void checkShapes(const PathSet& p, std::size_t count) {
  require(p.Offsets.size() == count + 1 && p.NumSignals.size() == count, "an entry a measurement");
  require(p.Offsets.front() == 0 && std::ranges::is_sorted(p.Offsets) &&
              p.Offsets.back() == p.Distances.size(),
          "offsets into the paths");
  require(p.TimesOfFlight.size() == p.Distances.size() && p.PeakValues.size() == p.Distances.size(),
          "a time and a height to each distance");
  for (std::size_t k = 0; k < p.Distances.size(); ++k) {
    require(support::sameBits(p.TimesOfFlight[k], p.Distances[k] / 299792458.0),
            "times are distances over the speed of light");
  }
}

}  // namespace fuzz
