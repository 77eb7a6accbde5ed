#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <vector>

#include "flightpath/ranging/ranger.h"
#include "fuzz/support/any_float.h"
#include "fuzz/support/plain_estimator.h"
#include "fuzz/support/samples.h"

namespace fuzz {

using flightpath::RangingOptions;

/// A Ranger's settings and the measurements that it is given.
struct Batch {
  std::uint32_t N = 0;
  RangingOptions options;
  std::vector<Samples> rows;
};

inline double anySpacing(FuzzedDataProvider& data) {
  switch (data.ConsumeIntegralInRange(0, 7)) {
    case 0:
      return static_cast<double>(anyFloat(data));
    case 1:
      return std::bit_cast<double>(data.ConsumeIntegral<std::uint64_t>());
    default:
      return 312500.0;
  }
}

/// MUSIC on one thread; any spacing, forced count and closed form.
inline RangingOptions anyOptions(FuzzedDataProvider& data) {
  RangingOptions options;
  options.Method = flightpath::RangingMethod::Music;
  options.SubcarrierSpacing = anySpacing(data);
  if (data.ConsumeBool()) {
    options.NumPaths = data.ConsumeBool() ? data.ConsumeIntegralInRange<unsigned char>(0, 6)
                                          : data.ConsumeIntegral<unsigned char>();
  }
  options.PhaseSlopeForOnePath = data.ConsumeBool();
  return options;
}

/// Whether single precision holds the scales of N subcarriers with this spacing, as the header wants.
inline bool hasScales(std::uint32_t N, double spacing_Hz) {
  const auto spacing = static_cast<float>(spacing_Hz);
  const float coarse_m = 299792458.0F / (static_cast<float>(N) * spacing) / 30.0F;
  return std::isfinite(1.0F / spacing * 299792458.0F) &&
         std::isnormal(toNormalisedFrequency(coarse_m, spacing)) &&
         std::isnormal(toNormalisedFrequency(coarse_m / 50.0F, spacing));
}

/// Up to five measurements, some of them equal.
inline Batch anyBatch(FuzzedDataProvider& data) {
  Batch batch;
  batch.N = static_cast<std::uint32_t>(std::max(anyLength(data), 1));
  batch.options = anyOptions(data);
  const int count = data.ConsumeIntegralInRange(0, 5);
  for (int i = 0; i < count; ++i) {
    batch.rows.push_back(i > 0 && data.ConsumeIntegralInRange(0, 3) == 0
                             ? batch.rows.front()
                             : anySamples(data, static_cast<int>(batch.N)));
  }
  return batch;
}

}  // namespace fuzz
