// Prints every result of the estimators on a fixed set of channels, each float as its bits, so that
// two builds can be compared by comparing text. All NaNs print alike.

#include <flightpath/flightpath.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <random>
#include <vector>

#include "simulated_channel.h"

namespace {

constexpr double spacing_Hz = 312500.0;

template <class T, int N>
void print(const char* name, const coder::array<T, N>& values) {
  std::printf(" %s", name);
  for (const int extent : values.size) {
    std::printf(" %d", extent);
  }
  for (const T value : values) {
    if (std::isnan(value)) {
      std::printf(" nan");
    } else {
      std::printf(" %08x", static_cast<unsigned>(std::bit_cast<std::uint32_t>(value)));
    }
  }
  std::printf("\n");
}

coder::array<float, 2> rowOf(const std::vector<float>& values) {
  coder::array<float, 2> row;
  row.set_size(1, static_cast<std::int32_t>(values.size()));
  std::copy(values.begin(), values.end(), row.begin());
  return row;
}

coder::array<creal32_T, 1> columnOf(const std::vector<creal32_T>& values) {
  coder::array<creal32_T, 1> column;
  column.set_size(static_cast<std::int32_t>(values.size()));
  std::copy(values.begin(), values.end(), column.begin());
  return column;
}

/// Paths a few nanoseconds to 300 ns out, as many as asked for.
std::vector<SimulatedPath> drawPaths(int numPaths, std::mt19937_64& random) {
  std::uniform_real_distribution<double> delay_s(5e-9, 300e-9);
  std::uniform_real_distribution<double> phase_rad(0.0, 6.28);
  std::vector<SimulatedPath> paths;
  for (int k = 0; k < numPaths; ++k) {
    paths.push_back({delay_s(random), 1.0 / (1.0 + 0.3 * k), phase_rad(random)});
  }
  return paths;
}

struct Case {
  std::optional<float> forcedCount;
  bool withGrid;
  bool forceClassic;
  bool smoothed;
};

/// Together they take every route.
const Case cases[] = {
    {{}, false, false, true},  {2.0F, false, false, true}, {1.0F, false, false, true},
    {3.0F, true, false, true}, {2.0F, true, true, true},   {{}, false, false, false},
};

void dumpToF(MUSICLib& estimator, const coder::array<creal32_T, 1>& x, const Case& c) {
  std::vector<float> distances;
  for (int k = 0; c.withGrid && k < 400; ++k) {
    distances.push_back(static_cast<float>(k) * 0.25F);
  }
  const auto count = c.forcedCount ? rowOf({*c.forcedCount}) : rowOf({});
  ToFEstimationParameters parameters;
  parameters.init(static_cast<float>(x.numel), static_cast<float>(spacing_Hz), rowOf(distances),
                  count, c.forceClassic ? 1 : 0, 1, c.smoothed ? 1 : 0, rowOf({}), rowOf({}));
  ToFResult result;
  estimator.MUSICToF(x, &parameters, &result);
  std::printf(" signals %g\n", static_cast<double>(result.NumSignals));
  print("distances", result.Distances);
  print("peaks", result.PeakValues);
  print("scanned", result.ScannedDistances);
  print("spectrum", result.PseudoSpectrum);
}

/// Each row alone, or so many that share their path.
void dumpLineOfSight(const std::vector<creal32_T>& rows, int numSubcarriers, unsigned snapshots) {
  flightpath::LineOfSightOptions options;
  options.SubcarrierSpacing = spacing_Hz;
  options.SnapshotsPerEstimate = snapshots;
  flightpath::LineOfSight lineOfSight(static_cast<std::uint32_t>(numSubcarriers), options);
  for (const flightpath::DirectPath& p :
       lineOfSight.estimate({rows, static_cast<std::size_t>(numSubcarriers)})) {
    std::printf("direct %d: %s", numSubcarriers, flightpath::toString(p.Result));
    for (const double number : {p.Distance_m, p.Deviation_m, p.Lower_m, p.Upper_m, p.Probability,
                                p.RicianFactor_dB, p.Decay_s, p.NoisePower, p.ProfileMisfit}) {
      std::isnan(number) ? std::printf(" nan") : std::printf(" %a", number);
    }
    std::printf("\n");
  }
}

void dumpLinesOfSight() {
  std::mt19937_64 random(21);
  for (const int numSubcarriers : {4, 16, 56, 242}) {
    std::vector<creal32_T> rows;
    for (int numPaths = 0; numPaths < 8; ++numPaths) {
      const std::vector<creal32_T> row =
          simulateChannel(drawPaths(numPaths, random), {numSubcarriers, spacing_Hz, 25.0}, random);
      rows.insert(rows.end(), row.begin(), row.end());
    }
    dumpLineOfSight(rows, numSubcarriers, 1);
    dumpLineOfSight(rows, numSubcarriers, 4);
  }
}

}  // namespace

int main() {
  std::mt19937_64 random(20);
  MUSICLib estimator;
  for (const int numSubcarriers : {1, 2, 3, 4, 7, 16, 30, 56, 64, 114, 242}) {
    for (int numPaths = 0; numPaths <= 4; ++numPaths) {
      const std::vector<creal32_T> samples =
          simulateChannel(drawPaths(numPaths, random), {numSubcarriers, spacing_Hz, 25.0}, random);
      const CSI csi = {static_cast<std::uint32_t>(spacing_Hz),
                       static_cast<std::uint16_t>(numSubcarriers), samples.data()};
      const ToFEstimate estimate = MUSIC::estimateToF(csi);
      std::printf("N %d paths %d:", numSubcarriers, numPaths);
      for (const double distance : estimate.Distances) {
        std::printf(" %a", distance);
      }
      std::printf("\n");
      for (const Case& c : cases) {
        dumpToF(estimator, columnOf(samples), c);
      }
    }
  }
  dumpLinesOfSight();
  return 0;
}
