#include "estimates.h"

#include <flightpath/flightpath.h>

#include <cmath>
#include <cstdint>
#include <random>

#include "simulated_channel.h"

namespace {

constexpr double spacing_Hz = 312500.0;
constexpr double speedOfLight_mps = 299792458.0;
constexpr double trueDistances_m[] = {30.0, 75.0};
constexpr int subcarrierCounts[] = {56, 64, 114};

std::vector<creal32_T> measure(int numSubcarriers) {
  std::mt19937_64 random(11);
  return simulateChannel({{trueDistances_m[0] / speedOfLight_mps, 1.0, 0.4},
                          {trueDistances_m[1] / speedOfLight_mps, 1.0, 2.0}},
                         {numSubcarriers, spacing_Hz, 40.0}, random);
}

void append(std::vector<double>& all, const std::vector<double>& some) {
  all.insert(all.end(), some.begin(), some.end());
}

}  // namespace

std::vector<double> estimatedDistances(unsigned rangerThreads) {
  std::vector<double> distances;
  for (const int n : subcarrierCounts) {
    const std::vector<creal32_T> samples = measure(n);
    const CSI csi = {static_cast<std::uint32_t>(spacing_Hz), static_cast<std::uint16_t>(n),
                     samples.data()};
    append(distances, MUSIC::estimateToF(csi, 2).Distances);

    std::vector<creal32_T> batch = samples;
    batch.insert(batch.end(), samples.begin(), samples.end());
    for (const auto method :
         {flightpath::RangingMethod::Music, flightpath::RangingMethod::MaximumLikelihood}) {
      flightpath::RangingOptions how;
      how.Method = method;
      how.SubcarrierSpacing = spacing_Hz;
      how.NumPaths = 2;
      how.Threads = rangerThreads;
      flightpath::Ranger ranger(static_cast<std::uint32_t>(n), how);
      const flightpath::PathSet found = ranger.estimate({batch, samples.size()});
      append(distances, {found.distances_m().begin(), found.distances_m().end()});
    }
  }
  return distances;
}

bool areRight(const std::vector<double>& distances) {
  // MODEL: at 56 subcarriers the Cramer-Rao bound of one such path is 13 mm. Five of them, and the
  // fine step of 11 mm.
  constexpr double tolerance_m = 5 * 0.013 + 0.011;
  constexpr std::size_t expected = std::size(subcarrierCounts) * 2 * 5;
  bool right = distances.size() == expected;
  for (std::size_t k = 0; right && k < expected; ++k) {
    right = std::fabs(distances[k] - trueDistances_m[k % 2]) < tolerance_m;
  }
  return right;
}
