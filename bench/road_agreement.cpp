// Compares the two roads of the Ranger's MUSIC, the one that forms the covariance and the one that does not,
// on channels drawn as flightpath_agreement draws them, and maximum likelihood at N = 10,001 with the truth:
//
//   flightpath_roads [SHARE]     SHARE of the 2,000 channels per size, 1 by default

#include <flightpath/flightpath.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>
#include <thread>
#include <vector>

#include "bench/drawn_paths.h"
#include "flightpath/ranging/detail/music_paths.h"
#include "flightpath/toolbox/detail/blas.h"

namespace {

constexpr double speedOfLight_mps = 299792458.0;

struct Tally {
  int trials = 0;
  int sameCount = 0;
  int samePaths = 0;  // of those: as many paths, every one within 1.01 fine step

  void add(const Tally& other) {
    trials += other.trials;
    sameCount += other.sameCount;
    samePaths += other.samePaths;
  }
};

flightpath::MusicPaths music(int N, bool isLong) {
  flightpath::MusicPaths::Settings settings;
  settings.longFrom = isLong ? 0 : std::numeric_limits<int>::max();
  return {N, static_cast<double>(bench::spacing_Hz), settings};
}

bool areSame(const flightpath::MusicPaths& a, const flightpath::MusicPaths& b, double step) {
  if (a.paths().size() != b.paths().size()) {
    return false;
  }
  for (std::size_t i = 0; i < a.paths().size(); ++i) {
    if (!(std::fabs(a.paths()[i].frequency - b.paths()[i].frequency) <= 1.01 * step)) {
      return false;
    }
  }
  return true;
}

/// Every second channel.
Tally compare(int N, int half, int trials) {
  flightpath::MusicPaths formed = music(N, false);
  flightpath::MusicPaths unformed = music(N, true);
  const double step = flightpath::defaultResolutions(N, bench::spacing_Hz).fine;
  flightpath::SampleBlock block(N, 1);
  Tally tally;
  for (int trial = half; trial < trials; trial += 2) {
    const bench::DrawnChannel channel = bench::drawChannel(N, trial);
    block.take(channel.samples, 0);
    const int expected = formed.find(block).NumSignals;
    const int count = unformed.find(block).NumSignals;
    ++tally.trials;
    if (count == expected) {
      ++tally.sameCount;
      tally.samePaths += areSame(formed, unformed, step) ? 1 : 0;
    }
  }
  return tally;
}

void printAgreement(int trials) {
  std::printf(
      "| N | channels | same count | of those: same paths within a fine step "
      "|\n|---|---|---|---|\n");
  for (const int N : {498, 996, 1992}) {
    Tally other;
    std::thread second([&] { other = compare(N, 1, trials); });
    Tally all = compare(N, 0, trials);
    second.join();
    all.add(other);
    std::printf("| %d | %d | %.2f %% | %.2f %% |\n", N, all.trials,
                100.0 * all.sameCount / all.trials, 100.0 * all.samePaths / all.sameCount);
  }
}

/// Three paths of random phases, two to five cells apart, at 25 dB: how many of them, over all channels,
/// have an estimate within three of its deviations, and in how many channels there are just three.
void printTruth(int N, int trials) {
  flightpath::RangingOptions how;
  how.SubcarrierSpacing = bench::spacing_Hz;
  flightpath::Ranger ranger(static_cast<std::uint32_t>(N), how);
  int rightCount = 0;
  int within = 0;
  for (int trial = 0; trial < trials; ++trial) {
    std::mt19937_64 random(static_cast<std::uint64_t>(trial));
    std::uniform_real_distribution<double> cells(2.0, 5.0);
    std::uniform_real_distribution<double> phase_rad(0.0, 6.283185307179586);
    std::vector<SimulatedPath> paths;
    double delay_s = 0.0;
    for (const double amplitude : {1.0, 0.7, 0.5}) {
      delay_s += cells(random) / (static_cast<double>(bench::spacing_Hz) * N);
      paths.push_back({delay_s, amplitude, phase_rad(random)});
    }
    const auto found = ranger.estimate(
        simulateChannel(paths, {N, static_cast<double>(bench::spacing_Hz), 25.0}, random));
    if (found.distances_m().size() != paths.size()) {
      continue;
    }
    ++rightCount;
    for (std::size_t i = 0; i < paths.size(); ++i) {
      const double error_m = found.distances_m()[i] - paths[i].delay_s * speedOfLight_mps;
      within += std::fabs(error_m) <= 3.0 * found.deviations_m()[i] ? 1 : 0;
    }
  }
  std::printf(
      "\nMaximum likelihood at N = %d, three paths at 25 dB, %d channels: the right count in %.1f "
      "%%, and of\n"
      "those paths %.1f %% within three deviations of the truth.\n",
      N, trials, 100.0 * rightCount / trials, 100.0 * within / (3.0 * rightCount));
}

}  // namespace

int main(int argc, char** argv) {
  const double share = argc > 1 ? std::atof(argv[1]) : 1.0;
  flightpath::blas::useOneThread();
  printAgreement(static_cast<int>(2000 * share));
  printTruth(10001, static_cast<int>(200 * share));
}
