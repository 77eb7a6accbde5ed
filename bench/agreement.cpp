// Compares the structured engine with the dense route on simulated channels and prints the table of
// docs/benchmarks.md:
//
//   flightpath_agreement [SHARE]     SHARE of the 20,050 channels, 1 by default

#include <flightpath/flightpath.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <thread>
#include <vector>

#include "bench/drawn_paths.h"
#include "bench/measurement.h"
#include "bench/same_paths.h"

namespace {

/// How many channels of each size: the dense route takes the cube of N.
const std::map<int, int> trialsOfSize = {{30, 5000},  {56, 4000},  {64, 5000},
                                         {114, 4500}, {242, 1350}, {498, 200}};

struct Tally {
  int trials = 0;
  int sameCount = 0;
  int samePaths = 0;     // of those: as many paths, every distance within 1.01 fine step
  int rangerNearer = 0;  // of the others: whose count lies nearer the true number
  int denseNearer = 0;

  void add(const Tally& other) {
    trials += other.trials;
    sameCount += other.sameCount;
    samePaths += other.samePaths;
    rangerNearer += other.rangerNearer;
    denseNearer += other.denseNearer;
  }
};

using Tallies = std::map<int, Tally>;  // by SNR

/// Both engines on the channels of one size.
class Comparison {
 public:
  explicit Comparison(int N)
      : N_(N), parameters_(bench::defaults(N)), ranger_(static_cast<std::uint32_t>(N), options()) {}

  void run(int trial, Tallies& tallies) {
    const bench::DrawnChannel channel = bench::drawChannel(N_, trial);
    dense_.MUSICToF(bench::toColumn(channel.samples), &parameters_, &denseResult_);
    ranger_.estimate(channel.samples, found_);
    count(channel.numPaths, bench::fineStep_m(static_cast<float>(N_), bench::spacing_Hz),
          tallies[channel.snr_dB]);
  }

 private:
  static flightpath::RangingOptions options() {
    flightpath::RangingOptions options;
    options.Method = flightpath::RangingMethod::Music;
    options.SubcarrierSpacing = bench::spacing_Hz;
    return options;
  }

  void count(int numPaths, double step_m, Tally& tally) const {
    const double dense = static_cast<double>(denseResult_.NumSignals);
    const double ranger = found_[0].info().NumSignals;
    ++tally.trials;
    if (dense == ranger) {
      ++tally.sameCount;
      tally.samePaths += bench::samePaths(denseResult_, found_, step_m) ? 1 : 0;
      return;
    }
    const double denseError = std::fabs(dense - numPaths);
    const double rangerError = std::fabs(ranger - numPaths);
    tally.denseNearer += denseError < rangerError ? 1 : 0;
    tally.rangerNearer += rangerError < denseError ? 1 : 0;
  }

  int N_;
  ToFEstimationParameters parameters_;
  MUSICLib dense_;
  ToFResult denseResult_;
  flightpath::Ranger ranger_;
  flightpath::PathSet found_;
};

/// Every second channel of every size.
Tallies runHalf(int half, double share) {
  Tallies tallies;
  for (const auto& [N, trials] : trialsOfSize) {
    Comparison comparison(N);
    for (int trial = half; trial < static_cast<int>(trials * share); trial += 2) {
      comparison.run(trial, tallies);
    }
  }
  return tallies;
}

double percent(int part, int whole) { return whole == 0 ? 100.0 : 100.0 * part / whole; }

void printRow(const char* label, const Tally& t) {
  std::printf("| %s | %d | %.2f %% | %.2f %% | %d | %d | %d |\n", label, t.trials,
              percent(t.sameCount, t.trials), percent(t.samePaths, t.sameCount),
              t.trials - t.sameCount, t.rangerNearer, t.denseNearer);
}

void print(const Tallies& tallies) {
  std::printf(
      "| SNR, dB | channels | same count | of those: same paths within a fine step | other count |"
      " Ranger nearer the truth | dense route nearer |\n|---|---|---|---|---|---|---|\n");
  Tally all;
  Tally from20;
  for (const auto& [snr_dB, tally] : tallies) {
    printRow(std::to_string(snr_dB).c_str(), tally);
    all.add(tally);
    if (snr_dB >= 20) {
      from20.add(tally);
    }
  }
  printRow("20 and up", from20);
  printRow("all", all);
}

}  // namespace

int main(int argc, char** argv) {
  const double share = argc > 1 ? std::atof(argv[1]) : 1.0;
  MUSIC::estimateToF({});  // sets BLAS to one thread
  Tallies first;
  Tallies second;
  std::thread other([&] { second = runHalf(1, share); });
  first = runHalf(0, share);
  other.join();
  for (const auto& [snr_dB, tally] : second) {
    first[snr_dB].add(tally);
  }
  print(first);
}
