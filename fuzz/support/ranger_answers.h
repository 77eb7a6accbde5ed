#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
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
inline void estimate(Ranger& ranger, std::uint32_t N, const std::vector<Samples>& rows,
                     PathSet& paths) {
  Samples buffer;
  for (const Samples& row : rows) {
    buffer.insert(buffer.end(), row.begin(), row.end());
  }
  buffer.shrink_to_fit();
  const Samples before = buffer;
  ranger.estimate({buffer, N}, paths);
  require(sameList(before, buffer), "the samples are read only");
}

/// The answer for one estimate of a batch.
struct Answer {
  std::int32_t numSignals;
  flightpath::Outcome outcome;
  std::vector<double> distances;
  std::vector<float> peakValues;
};

inline std::vector<Answer> answers(const PathSet& p) {
  std::vector<Answer> all;
  for (const flightpath::Estimate estimate : p) {
    Answer& a = all.emplace_back();
    a.numSignals = estimate.info().NumSignals;
    a.outcome = estimate.info().Result;
    for (const flightpath::Path path : estimate) {
      a.distances.push_back(path.Distance_m);
      a.peakValues.push_back(path.Peak_dB);
    }
  }
  return all;
}

inline void requireSame(const Answer& a, const Answer& b, const char* what) {
  require(a.numSignals == b.numSignals && a.outcome == b.outcome &&
              sameList(a.distances, b.distances) && sameList(a.peakValues, b.peakValues),
          what);
}

/// Sizes, offsets and delays of a result for `count` estimates.
inline void checkShapes(const PathSet& p, std::size_t count) {
  const auto offsets = p.offsets();
  const auto distances = p.distances_m();
  require(p.size() == count && p.complete() && offsets.size() == count + 1 &&
              p.numSignals().size() == count && p.outcomes().size() == count,
          "an entry per estimate");
  require(offsets[0] == 0 && std::ranges::is_sorted(offsets) && offsets[count] == distances.size(),
          "offsets into the paths");
  require(p.delays_s().size() == distances.size() && p.peaks_dB().size() == distances.size(),
          "a delay and a height to each distance");
  for (std::size_t k = 0; k < distances.size(); ++k) {
    require(support::sameBits(p.delays_s()[k], distances[k] / 299792458.0),
            "delays are distances over the speed of light");
  }
  for (const flightpath::Estimate estimate : p) {
    require(estimate.empty() == (estimate.info().Result != flightpath::Outcome::Found),
            "a reason exactly where there is no path");
  }
}

}  // namespace fuzz
