// The stages of one estimate, each by itself on the input that it has in that estimate.

#include <flightpath/flightpath.h>

#include "bench/measurement.h"
#include "bench/prepared.h"
#include "bench/sizes.h"
#include "flightpath/music/detail/coarse_search.h"
#include "flightpath/music/detail/covariance.h"
#include "flightpath/music/detail/criterion.h"
#include "flightpath/music/detail/fine_search.h"
#include "flightpath/music/detail/subspaces.h"
#include "flightpath/rules/search_grids.h"

namespace {

/// Everything that the stages hand to each other.
struct Intermediate {
  explicit Intermediate(const coder::array<creal32_T, 1>& samples) : x(samples) {
    flightpath::sampleCovariance(x, true, covariance);
    numSignals = determineNumSignals(x, 1, eigenvectors, eigenvalues);
    flightpath::noiseSubspace(eigenvectors, numSignals, noise);
    signal = eigenvectors;
    flightpath::keepSignalSubspace(signal, numSignals);
    coarseResolution = 1.0F / (30.0F * static_cast<float>(x.numel));
    flightpath::coarseFrequencies(&estimator, signal, numSignals, coarseResolution, spectrum,
                                  coarse);
    flightpath::evenCandidates(coarse, coarseResolution, coarseResolution / 50.0F, noise.size[0],
                               candidates);
  }

  MUSICLib estimator;
  coder::array<creal32_T, 1> x;
  coder::array<creal32_T, 2> covariance;
  coder::array<creal32_T, 2> eigenvectors;
  coder::array<float, 1> eigenvalues;
  coder::array<creal32_T, 2> noise;
  coder::array<creal32_T, 2> signal;
  coder::array<float, 1> spectrum;
  coder::array<float, 1> coarse;
  coder::array<float, 2> candidates;
  float numSignals = 0.0F;
  float coarseResolution = 0.0F;
};

void BM_StageSmoothing(benchmark::State& state) {
  Intermediate& given = bench::prepared<Intermediate>(state);
  for ([[maybe_unused]] auto _ : state) {
    flightpath::sampleCovariance(given.x, true, given.covariance);
  }
}

void BM_StageEigen(benchmark::State& state) {
  const Intermediate& given = bench::prepared<Intermediate>(state);
  coder::array<creal32_T, 2> V;
  coder::array<creal32_T, 1> d;
  for ([[maybe_unused]] auto _ : state) {
    coder::eig(given.covariance, V, d);
  }
}

void BM_StageCount(benchmark::State& state) {
  const Intermediate& given = bench::prepared<Intermediate>(state);
  coder::array<double, 1> Q;
  float count = 0.0F;
  for ([[maybe_unused]] auto _ : state) {
    flightpath::criterion(given.eigenvalues, true, Q);
    benchmark::DoNotOptimize(count = flightpath::countAtMinimum(Q));
  }
}

void BM_StageFFTSpectrum(benchmark::State& state) {
  Intermediate& given = bench::prepared<Intermediate>(state);
  coder::array<float, 1> freqs;
  coder::array<creal32_T, 2> energies;
  const float length = flightpath::coarseFFTLength(given.coarseResolution);
  for ([[maybe_unused]] auto _ : state) {
    evaluatePseudoSpectrumFFT(&given.estimator, given.signal, given.spectrum, freqs, energies,
                              length);
  }
}

void BM_StagePeaks(benchmark::State& state) {
  const Intermediate& given = bench::prepared<Intermediate>(state);
  coder::array<float, 1> heights;
  coder::array<double, 1> positions;
  for ([[maybe_unused]] auto _ : state) {
    coder::findpeaks(given.spectrum, given.numSignals,
                     flightpath::spectrumThreshold(given.spectrum), heights, positions);
  }
}

void BM_StageFineSearch(benchmark::State& state) {
  const Intermediate& given = bench::prepared<Intermediate>(state);
  coder::array<float, 1> spectrum;
  coder::array<float, 2> freqs;
  coder::array<float, 2> peakValues;
  for ([[maybe_unused]] auto _ : state) {
    flightpath::refine(given.noise, given.candidates, spectrum, freqs, peakValues);
  }
}

}  // namespace

BENCHMARK(BM_StageSmoothing)->Apply(bench::allSizes);
BENCHMARK(BM_StageEigen)->Apply(bench::allSizes);
BENCHMARK(BM_StageCount)->Apply(bench::allSizes);
BENCHMARK(BM_StageFFTSpectrum)->Apply(bench::allSizes);
BENCHMARK(BM_StagePeaks)->Apply(bench::allSizes);
BENCHMARK(BM_StageFineSearch)->Apply(bench::allSizes);
