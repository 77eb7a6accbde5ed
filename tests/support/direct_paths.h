#pragma once

#include <vector>

#include "flightpath/line_of_sight/direct_path.h"

namespace support {

/// Every number of these paths, for comparisons of bits.
inline std::vector<double> everythingIn(const std::vector<flightpath::DirectPath>& paths) {
  std::vector<double> all;
  for (const flightpath::DirectPath& p : paths) {
    all.insert(all.end(),
               {p.Distance_m, p.Delay_s, p.Deviation_m, p.Lower_m, p.Upper_m, p.Probability,
                p.RicianFactor_dB, p.Decay_s, p.NoisePower, p.ProfileMisfit,
                static_cast<double>(p.Result), static_cast<double>(p.Quality)});
  }
  return all;
}

}  // namespace support
