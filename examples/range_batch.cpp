// Distances and their deviations from a whole batch of measurements at once, on every core.

#include <flightpath/flightpath.h>

#include <cstdio>
#include <random>
#include <vector>

#include "simulated_channel.h"

int main() {
  constexpr int numSubcarriers = 242;
  constexpr double spacing_Hz = 312500.0;
  constexpr std::size_t count = 1000;
  const std::vector<SimulatedPath> paths = {{40e-9, 1.0, 0.3}, {58e-9, 0.7, 1.9}};

  std::mt19937_64 random(1);
  std::vector<creal32_T> batch;  // one measurement per row
  for (std::size_t i = 0; i < count; ++i) {
    const auto row = simulateChannel(paths, {numSubcarriers, spacing_Hz, 25.0}, random);
    batch.insert(batch.end(), row.begin(), row.end());
  }

  flightpath::RangingOptions options;
  options.SubcarrierSpacing = spacing_Hz;
  options.Threads = 0;  // every core
  flightpath::Ranger ranger(numSubcarriers, options);
  const flightpath::PathSet found = ranger.estimate({batch, numSubcarriers});

  std::printf("%zu measurements, %zu paths; true distances 11.992 and 17.388 m\n", count,
              found.distances_m().size());
  for (const flightpath::Path path : found[0]) {
    std::printf("first measurement: %.3f m +- %.3f m\n", path.Distance_m, path.Deviation_m);
  }
}
