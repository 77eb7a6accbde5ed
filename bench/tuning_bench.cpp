// The experiments behind the tuned constants of the structured engine: what each is compared with, in
// one run.
//
//   flightpath_tuning                                    all of them
//   flightpath_tuning --benchmark_filter=Cholesky        one
//
// Where a constant trades time for certainty, the counter "agree" is the share of channels on which the
// count is that of the full decomposition.

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "flightpath/ranging/detail/lagged_products.h"
#include "flightpath/ranging/detail/leading_eigenpairs.h"
#include "flightpath/ranging/detail/music_paths.h"
#include "flightpath/ranging/detail/real_gram.h"
#include "flightpath/ranging/detail/signal_space.h"
#include "flightpath/rules/subvector_length.h"
#include "flightpath/toolbox/detail/blas.h"
#include "flightpath/toolbox/detail/lapack.h"
#include "flightpath/toolbox/detail/plain_matrices.h"
#include "flightpath/toolbox/detail/small_matrices.h"
#include "simulated_channel.h"

namespace {

constexpr double spacing_Hz = 312500.0;
constexpr double cellsApart = 2.5;

std::vector<double> randomMatrix(int rows, int cols) {
  std::mt19937_64 random(1);
  std::normal_distribution<double> normal;
  std::vector<double> A(static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols));
  for (double& a : A) {
    a = normal(random);
  }
  return A;
}

/// The Ranger's matrices of some channels of three paths, `cellsApart` resolution cells from each other.
std::vector<flightpath::RealGram> matrices(int N, double snr_dB, int count) {
  std::mt19937_64 random(2);
  std::uniform_real_distribution<double> phase(0.0, 6.283185307179586);
  std::vector<flightpath::RealGram> all;
  for (int i = 0; i < count; ++i) {
    std::vector<SimulatedPath> paths;
    for (int k = 0; k < 3; ++k) {
      paths.push_back({(3.0 + cellsApart * k) / (N * spacing_Hz), 1.0 - 0.25 * k, phase(random)});
    }
    const auto x = simulateChannel(paths, {N, spacing_Hz, snr_dB}, random);
    flightpath::SampleBlock samples(N, 1);
    samples.take(x, 0);
    all.emplace_back(N, flightpath::subvectorLength(N)).form(samples);
  }
  return all;
}

// --- smallProduct, smallFactor, smallEigen: plain loops beside the library's call -------------------

void BM_ProductPlain(benchmark::State& state) {
  const auto n = static_cast<int>(state.range(0));
  const auto A = randomMatrix(n, n);
  const auto B = randomMatrix(n, 6);
  auto C = B;
  for ([[maybe_unused]] auto _ : state) {
    flightpath::plain::multiply(n, 6, n, A.data(), B.data(), C.data());
    benchmark::DoNotOptimize(C.data());
  }
}

void BM_ProductBlas(benchmark::State& state) {
  const auto n = static_cast<int>(state.range(0));
  const auto A = randomMatrix(n, n);
  const auto B = randomMatrix(n, 6);
  auto C = B;
  for ([[maybe_unused]] auto _ : state) {
    flightpath::blas::multiplyReal(n, 6, n, A.data(), B.data(), C.data());
    benchmark::DoNotOptimize(C.data());
  }
}

/// Positive definite: noise on the diagonal.
std::vector<double> definiteMatrix(int n) {
  auto A = randomMatrix(n, n);
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < i; ++j) {
      A[static_cast<std::size_t>(j * n + i)] = A[static_cast<std::size_t>(i * n + j)];
    }
    A[static_cast<std::size_t>(i * n + i)] = 4.0 * n;
  }
  return A;
}

void BM_CholeskyPlain(benchmark::State& state) {
  const auto n = static_cast<int>(state.range(0));
  const auto A = definiteMatrix(n);
  auto factor = A;
  for ([[maybe_unused]] auto _ : state) {
    factor = A;
    benchmark::DoNotOptimize(flightpath::plain::choleskyFactor(n, factor.data()));
  }
}

void BM_CholeskyLapack(benchmark::State& state) {
  const auto n = static_cast<int>(state.range(0));
  const auto A = definiteMatrix(n);
  auto factor = A;
  for ([[maybe_unused]] auto _ : state) {
    factor = A;
    benchmark::DoNotOptimize(flightpath::lapack::choleskyFactor(n, factor.data()));
  }
}

/// As the projection is after a step or two: nearly diagonal.
std::vector<double> nearlyDiagonal(int n) {
  auto A = definiteMatrix(n);
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) {
      A[static_cast<std::size_t>(i * n + j)] *= i == j ? 1.0 + i : 1e-3;
    }
  }
  return A;
}

void BM_EigenPlain(benchmark::State& state) {
  const auto n = static_cast<int>(state.range(0));
  const auto A = nearlyDiagonal(n);
  auto V = A;
  std::vector<double> values(static_cast<std::size_t>(n));
  for ([[maybe_unused]] auto _ : state) {
    V = A;
    flightpath::plain::symmetricEigen(n, V.data(), values.data());
    benchmark::DoNotOptimize(V.data());
  }
}

void BM_EigenLapack(benchmark::State& state) {
  const auto n = static_cast<int>(state.range(0));
  const auto A = nearlyDiagonal(n);
  auto V = A;
  std::vector<double> values(static_cast<std::size_t>(n));
  std::vector<double> work(3 * values.size());
  for ([[maybe_unused]] auto _ : state) {
    V = A;
    flightpath::lapack::symmetricEigen(n, V.data(), values.data(), work.data());
    benchmark::DoNotOptimize(V.data());
  }
}

/// The three largest.
void BM_EigenLeading(benchmark::State& state) {
  const auto n = static_cast<int>(state.range(0));
  const auto A = nearlyDiagonal(n);
  flightpath::LeadingDecomposition decomposition(n);
  for ([[maybe_unused]] auto _ : state) {
    decomposition.solveValues(A.data());
    decomposition.solveVectors(3);
    benchmark::DoNotOptimize(decomposition.vector(0));
  }
}

// --- wider registers --------------------------------------------------------------------------------

void timeLaggedProducts(benchmark::State& state, flightpath::LaggedProducts add) {
  const std::vector<double> rows = randomMatrix(256, 6);
  std::vector<double> re(256);
  std::vector<double> im(256);
  const double* const x = rows.data();
  for ([[maybe_unused]] auto _ : state) {
    add({x, x + 256}, {x + 512, x + 768}, 17, 256 - 17, re.data(), im.data());
    benchmark::DoNotOptimize(re.data());
  }
}

void BM_LaggedProductsPlain(benchmark::State& state) {
  timeLaggedProducts(state, flightpath::addLaggedProducts);
}

void BM_LaggedProductsFastest(benchmark::State& state) {
  timeLaggedProducts(state, flightpath::fastestLaggedProducts());
}

// --- the tuning of the signal space ------------------------------------------------------------------

/// Counts the signals of some channels by one tuning, beside the count by all eigenvalues.
void countWith(benchmark::State& state, int N, const flightpath::SignalSpaceTuning& tuning) {
  const auto given = matrices(N, 20.0, 20);
  flightpath::SignalSpaceTuning exact;
  exact.valueTolerance = 1e-9;
  flightpath::SignalSpace careful(given[0].order(), given[0].L(), 1, exact);
  flightpath::SignalSpace space(given[0].order(), given[0].L(), 1, tuning);
  int same = 0;
  for (const auto& gram : given) {
    same += space.count(gram.matrix()) == careful.count(gram.matrix()) ? 1 : 0;
  }
  std::size_t next = 0;
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(space.count(given[next++ % given.size()].matrix()));
  }
  state.counters["agree"] = static_cast<double>(same) / static_cast<double>(given.size());
}

/// range(1): the tolerance is 10 to the minus a tenth of it.
void BM_ValueTolerance(benchmark::State& state) {
  flightpath::SignalSpaceTuning tuning;
  tuning.valueTolerance = std::pow(10.0, -0.1 * static_cast<double>(state.range(1)));
  countWith(state, static_cast<int>(state.range(0)), tuning);
}

void BM_FirstWidth(benchmark::State& state) {
  flightpath::SignalSpaceTuning tuning;
  tuning.firstWidth = static_cast<int>(state.range(1));
  countWith(state, static_cast<int>(state.range(0)), tuning);
}

/// A forced count: of the signals that there are, and of more, where a decomposition takes over.
void BM_ForcedCount(benchmark::State& state) {
  const auto N = static_cast<int>(state.range(0));
  const auto given = matrices(N, 20.0, 4);
  flightpath::SignalSpace space(given[0].order(), given[0].L(), 1);
  std::size_t next = 0;
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(
        space.take(given[next++ % given.size()].matrix(), static_cast<int>(state.range(1))));
  }
}

/// A block of three paths at 20 dB in `rows` rows.
flightpath::SampleBlock threePaths(int N, int rows) {
  std::mt19937_64 random(3);
  std::uniform_real_distribution<double> phase(0.0, 6.283185307179586);
  std::vector<creal32_T> all;
  for (int row = 0; row < rows; ++row) {
    std::vector<SimulatedPath> paths;
    for (int k = 0; k < 3; ++k) {
      paths.push_back({(3.0 + cellsApart * k) / (N * spacing_Hz), 1.0 - 0.25 * k, phase(random)});
    }
    const auto x = simulateChannel(paths, {N, spacing_Hz, 20.0}, random);
    all.insert(all.end(), x.begin(), x.end());
  }
  flightpath::SampleBlock samples(N, rows);
  samples.take({all, static_cast<std::size_t>(N)}, 0);
  return samples;
}

void estimateByRoad(benchmark::State& state, int N, int rows) {
  const flightpath::SampleBlock samples = threePaths(N, rows);
  flightpath::MusicPaths::Settings settings;
  settings.numRows = rows;
  settings.longFrom = state.range(1) != 0 ? 0 : std::numeric_limits<int>::max();
  flightpath::MusicPaths music(N, spacing_Hz, settings);
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(music.find(samples));
  }
}

/// range(1): whether the covariance is left unformed.
void BM_Road(benchmark::State& state) {
  estimateByRoad(state, static_cast<int>(state.range(0)), 1);
}

/// The same at N = 280, for several rows.
void BM_RoadOfRows(benchmark::State& state) {
  estimateByRoad(state, 280, static_cast<int>(state.range(0)));
}

}  // namespace

BENCHMARK(BM_ProductPlain)
    ->ArgName("order")
    ->Arg(34)
    ->Arg(64)
    ->Arg(96)
    ->Arg(128)
    ->Arg(192)
    ->Arg(256);
BENCHMARK(BM_ProductBlas)
    ->ArgName("order")
    ->Arg(34)
    ->Arg(64)
    ->Arg(96)
    ->Arg(128)
    ->Arg(192)
    ->Arg(256);
BENCHMARK(BM_CholeskyPlain)
    ->ArgName("order")
    ->Arg(16)
    ->Arg(34)
    ->Arg(48)
    ->Arg(64)
    ->Arg(96)
    ->Arg(128);
BENCHMARK(BM_CholeskyLapack)
    ->ArgName("order")
    ->Arg(16)
    ->Arg(34)
    ->Arg(48)
    ->Arg(64)
    ->Arg(96)
    ->Arg(128);
BENCHMARK(BM_EigenPlain)->ArgName("order")->Arg(3)->Arg(6)->Arg(12);
BENCHMARK(BM_EigenLapack)->ArgName("order")->Arg(3)->Arg(6)->Arg(12)->Arg(34)->Arg(122);
BENCHMARK(BM_EigenLeading)->ArgName("order")->Arg(34)->Arg(122);
BENCHMARK(BM_LaggedProductsPlain);
BENCHMARK(BM_LaggedProductsFastest);
BENCHMARK(BM_ValueTolerance)
    ->ArgNames({"N", "tolerance_dB"})
    ->ArgsProduct({{64, 242, 498}, {5, 10, 15, 20, 30, 60}});
BENCHMARK(BM_FirstWidth)->ArgNames({"N", "width"})->ArgsProduct({{64, 242}, {3, 4, 6, 8, 12, 16}});
BENCHMARK(BM_ForcedCount)->ArgNames({"N", "count"})->ArgsProduct({{64, 242, 279}, {3, 5, 10, 20}});
BENCHMARK(BM_Road)
    ->ArgNames({"N", "long"})
    ->ArgsProduct({{200, 242, 260, 280, 320, 498, 996, 1992}, {0, 1}});
BENCHMARK(BM_RoadOfRows)->ArgNames({"rows", "long"})->ArgsProduct({{2, 8, 32, 128}, {0, 1}});

BENCHMARK_MAIN();
