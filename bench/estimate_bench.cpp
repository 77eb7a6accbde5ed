#include <flightpath/flightpath.h>

#include "bench/measurement.h"
#include "bench/sizes.h"

namespace {

void BM_estimateToF(benchmark::State& state) {
  const auto N = static_cast<int>(state.range(0));
  const auto samples = bench::measurement(N, static_cast<int>(state.range(1)));
  const CSI csi = {bench::spacing_Hz, static_cast<std::uint16_t>(N), samples.data()};
  std::size_t numPaths = 0;
  for ([[maybe_unused]] auto _ : state) {
    numPaths = MUSIC::estimateToF(csi).Distances.size();
  }
  state.counters["found"] = static_cast<double>(numPaths);
}

void BM_MUSICToF(benchmark::State& state) {
  const auto N = static_cast<int>(state.range(0));
  const auto x = bench::toColumn(bench::measurement(N, static_cast<int>(state.range(1))));
  const ToFEstimationParameters parameters = bench::defaults(N);
  MUSICLib estimator;
  ToFResult result;
  for ([[maybe_unused]] auto _ : state) {
    estimator.MUSICToF(x, &parameters, &result);
  }
  state.counters["found"] = result.Distances.size[1];
}

}  // namespace

BENCHMARK(BM_estimateToF)->Apply(bench::allSizes);
BENCHMARK(BM_MUSICToF)->Apply(bench::allSizes);
