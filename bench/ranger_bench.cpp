#include <flightpath/flightpath.h>

#include "bench/measurement.h"
#include "bench/sizes.h"

namespace {

using flightpath::RangingMethod;

flightpath::RangingOptions options(unsigned threads, RangingMethod method = RangingMethod::Music) {
  flightpath::RangingOptions options;
  options.Method = method;
  options.SubcarrierSpacing = bench::spacing_Hz;
  options.Threads = threads;
  return options;
}

void estimate(benchmark::State& state, RangingMethod method) {
  const auto N = static_cast<int>(state.range(0));
  const auto samples = bench::measurement(N, static_cast<int>(state.range(1)));
  flightpath::Ranger ranger(static_cast<std::uint32_t>(N), options(1, method));
  flightpath::PathSet paths;
  for ([[maybe_unused]] auto _ : state) {
    ranger.estimate(samples, paths);
  }
  state.counters["found"] = static_cast<double>(paths.distances_m().size());
}

void BM_Ranger(benchmark::State& state) { estimate(state, RangingMethod::Music); }

void BM_Likelihood(benchmark::State& state) { estimate(state, RangingMethod::MaximumLikelihood); }

/// 2,000 measurements of 64 subcarriers at once; the argument is the number of threads.
void BM_RangerBatch(benchmark::State& state) {
  constexpr std::size_t count = 2000;
  const auto one = bench::measurement(64, 3);
  std::vector<creal32_T> batch;
  for (std::size_t i = 0; i < count; ++i) {
    batch.insert(batch.end(), one.begin(), one.end());
  }
  flightpath::Ranger ranger(64, options(static_cast<unsigned>(state.range(0))));
  flightpath::PathSet paths;
  for ([[maybe_unused]] auto _ : state) {
    ranger.estimate({batch, 64}, paths);
  }
}

/// One estimate from rows that share their paths: an archive of four antennas and eight packets, 256
/// tones each.
void BM_RangerSnapshots(benchmark::State& state) {
  constexpr std::size_t N = 256;
  const auto snapshots = static_cast<std::uint32_t>(state.range(0));
  const auto one = bench::measurement(static_cast<int>(N), 3);
  std::vector<creal32_T> rows;
  for (std::uint32_t i = 0; i < snapshots; ++i) {
    rows.insert(rows.end(), one.begin(), one.end());
  }
  flightpath::RangingOptions how = options(1);
  how.SnapshotsPerEstimate = snapshots;
  flightpath::Ranger ranger(N, how);
  flightpath::PathSet paths;
  for ([[maybe_unused]] auto _ : state) {
    ranger.estimate({rows, N}, paths);
  }
}

}  // namespace

BENCHMARK(BM_Ranger)->Apply(bench::allSizes);
BENCHMARK(BM_Likelihood)->Apply(bench::allSizes);
BENCHMARK(BM_RangerBatch)
    ->ArgName("threads")
    ->Arg(1)
    ->Arg(2)
    ->UseRealTime()
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RangerSnapshots)
    ->ArgName("snapshots")
    ->Arg(2)
    ->Arg(8)
    ->Arg(32)
    ->Unit(benchmark::kMillisecond);
