#include "bench/floor.h"
#include "bench/prepared.h"
#include "bench/sizes.h"

namespace {

void BM_Floor(benchmark::State& state) {
  bench::Floor& floor = bench::prepared<bench::Floor>(state);
  for ([[maybe_unused]] auto _ : state) {
    floor.run();
  }
  state.counters["signals"] = floor.numSignals();
  state.counters["peaks"] = floor.numPeaks();
}

}  // namespace

BENCHMARK(BM_Floor)->Apply(bench::allSizes);
