// Long records: what an estimate costs where the covariance is not formed, beside the road that forms it; and
// what the hardest records cost.

#include <benchmark/benchmark.h>
#include <flightpath/flightpath.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/measurement.h"
#include "flightpath/ranging/detail/music_paths.h"
#include "flightpath/toolbox/detail/blas.h"
#include "simulated_channel.h"

namespace {

using Paths = std::vector<SimulatedPath>;

constexpr double noNoise = std::numeric_limits<double>::infinity();

double cell_s(int N) { return 1.0 / (static_cast<double>(bench::spacing_Hz) * N); }

/// Three paths, 2.5 and 4.5 resolution cells apart.
Paths threePaths(int N) {
  const double cell = cell_s(N);
  return {{4.0 * cell, 1.0, 0.3}, {6.5 * cell, 0.7, 1.9}, {11.0 * cell, 0.5, -2.2}};
}

std::vector<creal32_T> samplesOf(const Paths& paths, int N, double snr_dB) {
  std::mt19937_64 random(static_cast<std::uint64_t>(N));
  return simulateChannel(paths, {N, static_cast<double>(bench::spacing_Hz), snr_dB}, random);
}

void findByRoad(benchmark::State& state, bool isLong) {
  const auto N = static_cast<int>(state.range(0));
  flightpath::blas::useOneThread();
  flightpath::MusicPaths::Settings settings;
  settings.longFrom = isLong ? 0 : std::numeric_limits<int>::max();
  flightpath::MusicPaths music(N, bench::spacing_Hz, settings);
  flightpath::SampleBlock samples(N, 1);
  samples.take(samplesOf(threePaths(N), N, static_cast<double>(state.range(1))), 0);
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(music.find(samples));
  }
}

void BM_Formed(benchmark::State& state) { findByRoad(state, false); }

void BM_Unformed(benchmark::State& state) { findByRoad(state, true); }

flightpath::RangingOptions options(flightpath::RangingMethod method) {
  flightpath::RangingOptions how;
  how.Method = method;
  how.SubcarrierSpacing = bench::spacing_Hz;
  how.Threads = 1;
  return how;
}

void BM_LongLikelihood(benchmark::State& state) {
  const auto N = static_cast<int>(state.range(0));
  const auto samples = samplesOf(threePaths(N), N, static_cast<double>(state.range(1)));
  flightpath::Ranger ranger(static_cast<std::uint32_t>(N),
                            options(flightpath::RangingMethod::MaximumLikelihood));
  flightpath::PathSet paths;
  for ([[maybe_unused]] auto _ : state) {
    ranger.estimate(samples, paths);
  }
}

// --- the hardest records ------------------------------------------------------------------------------

/// A kind of record, made for any N, and the count that is forced on it (0: none).
struct Case {
  std::string name;
  Paths (*paths)(int N);
  double snr_dB;
  std::uint32_t forced;
};

Paths noPaths(int /*N*/) { return {}; }

/// Equal powers on exact frequencies of the grid.
Paths sixEqual(int N) {
  Paths paths;
  for (int k = 0; k < 6; ++k) {
    paths.push_back({(2.0 + 2.0 * k) * cell_s(N), 1.0, 1.1 * k});
  }
  return paths;
}

/// Half a cell apart, all in phase.
Paths coherent(int N) {
  Paths paths;
  for (int k = 0; k < 3; ++k) {
    paths.push_back({(2.0 + 0.5 * k) * cell_s(N), 1.0, 0.0});
  }
  return paths;
}

const std::vector<Case>& cases() {
  static const std::vector<Case> all = {
      {"three paths, 25 dB", threePaths, 25.0, 0},
      {"three paths, 10 dB", threePaths, 10.0, 0},
      {"three paths without noise", threePaths, noNoise, 0},
      {"noise alone", noPaths, 0.0, 0},
      {"six equal paths on grid frequencies, 25 dB", sixEqual, 25.0, 0},
      {"six equal paths without noise", sixEqual, noNoise, 0},
      {"three coherent paths half a cell apart, 40 dB", coherent, 40.0, 0},
      {"three coherent paths without noise", coherent, noNoise, 0},
      {"three paths, 25 dB, 4 forced", threePaths, 25.0, 4},
      {"three paths, 25 dB, 10 forced", threePaths, 25.0, 10},
      {"noise alone, 2 forced", noPaths, 0.0, 2},
      {"noise alone, 5 forced", noPaths, 0.0, 5},
      {"three paths without noise, 5 forced", threePaths, noNoise, 5},
      {"three paths, 25 dB, 20 forced", threePaths, 25.0, 20},
      {"noise alone, 20 forced", noPaths, 0.0, 20},
  };
  return all;
}

void BM_Hard(benchmark::State& state) {
  const auto N = static_cast<int>(state.range(0));
  const Case& hard = cases()[static_cast<std::size_t>(state.range(1))];
  flightpath::RangingOptions how = options(flightpath::RangingMethod::Music);
  if (hard.forced > 0) {
    how.NumPaths = hard.forced;
  }
  const auto samples = samplesOf(hard.paths(N), N, hard.snr_dB);
  flightpath::Ranger ranger(static_cast<std::uint32_t>(N), how);
  flightpath::PathSet paths;
  for ([[maybe_unused]] auto _ : state) {
    ranger.estimate(samples, paths);
  }
  state.SetLabel(hard.name);
}

/// Twenty paths in 64 tones would be nearly two thirds of the covariance's rank.
void hardCases(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"tones", "case"});
  for (const int N : {64, 242, 279, 1992, 10001}) {
    for (std::size_t i = 0; i < cases().size(); ++i) {
      if (4 * cases()[i].forced < static_cast<std::uint32_t>(N)) {
        benchmark->Args({N, static_cast<std::int64_t>(i)});
      }
    }
  }
  benchmark->Unit(benchmark::kMicrosecond);
}

}  // namespace

BENCHMARK(BM_Formed)
    ->ArgNames({"tones", "snr"})
    ->ArgsProduct({{280, 498, 996, 1992, 3276}, {25, 40}})
    ->Args({10001, 25})
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Unformed)
    ->ArgNames({"tones", "snr"})
    ->ArgsProduct({{280, 498, 996, 1992, 3276, 10001, 30000, 65535}, {25, 40}})
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_LongLikelihood)
    ->ArgNames({"tones", "snr"})
    ->ArgsProduct({{280, 498, 996, 1992, 3276, 10001, 30000, 65535}, {25, 40}})
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Hard)->Apply(hardCases);
