// How near a Ranger's maximum likelihood comes to the Cramer-Rao bound, over its scenarios:
//
//   flightpath_likelihood TRIALS [NAME]
//
// SNR is that of the strongest path, per tone. Phases are drawn for every trial, and random sets of
// tones for every tenth.
//
// found      the right count, and every path within half of the smallest separation
// over       more paths than there are
// error/CRB  root mean square of each error over its own trial's bound, where found
// 1, 2, 3    the truth within so many deviations, in per cent, where found
// interval   the truth within the profile interval of the level of three deviations (every tenth trial)
// us         per estimate, by Music and by maximum likelihood, on whatever else this machine is doing

#include <flightpath/flightpath.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "bench/path_channels.h"
#include "flightpath/likelihood/normal_equations.h"
#include "flightpath/likelihood/path_fit.h"

namespace {

using bench::Random;
using bench::Tones;
using Scenario = bench::PathScenario;

constexpr double spacing_Hz = bench::pathSpacing_Hz;
constexpr double speedOfLight_mps = 299792458.0;
constexpr double threeDeviations = 0.9973002039367398;

/// One trial's channel: its samples in single precision, and its bound.
class Trial {
 public:
  Trial(const Scenario& scenario, const Tones& tones, Random& random)
      : bound(scenario.delays_s.size()),
        scenario_(scenario),
        tones_(tones),
        clean_(bench::drawRows(scenario, tones, random)) {
    findBound();
    std::normal_distribution<double> noise(0.0, deviation());
    for (std::size_t i = 0; i < clean_.size(); ++i) {
      const double re = clean_[i].real() + noise(random);
      const double im = clean_[i].imag() + noise(random);
      samples.push_back({static_cast<float>(re), static_cast<float>(im)});
    }
  }

  std::vector<creal32_T> samples;
  std::vector<double> bound;  // deviations of the normalised frequencies

 private:
  double deviation() const { return std::sqrt(0.5 * std::pow(10.0, -scenario_.snr_dB / 10.0)); }

  /// The curvature of the cost at the truth, where the amplitudes of a noise-free fit are the true
  /// ones, is the Fisher information but for the noise power.
  void findBound() {
    const int numPaths = static_cast<int>(bound.size());
    if (numPaths == 0) {
      return;
    }
    flightpath::ToneSet tones(tones_, {});
    flightpath::PathFit fit(tones, scenario_.snapshots, numPaths);
    flightpath::SplitRows rows(scenario_.snapshots, tones.count());
    for (std::size_t i = 0; i < clean_.size(); ++i) {
      rows.re[i] = clean_[i].real();
      rows.im[i] = clean_[i].imag();
    }
    for (const double delay_s : scenario_.delays_s) {
      fit.addFrequency(delay_s * spacing_Hz * tones.stride());
    }
    fit.solve(rows);
    fit.differentiate();
    flightpath::NormalEquations equations(numPaths);
    equations.factor(fit.curvature(), numPaths);
    for (std::size_t p = 0; p < bound.size(); ++p) {
      std::vector<double> column(bound.size());
      column[p] = 1.0;
      equations.solve(column.data());
      bound[p] = deviation() * std::sqrt(column[p]) / tones.stride();
    }
  }

  const Scenario& scenario_;
  const Tones& tones_;
  std::vector<std::complex<double>> clean_;
};

struct Score {
  int trials = 0;
  int found = 0;
  int over = 0;
  int under = 0;
  double squares = 0.0;
  int errors = 0;
  int within[3] = {};
  int intervals = 0;
  int inInterval = 0;
  double music_s = 0.0;
  double likelihood_s = 0.0;
};

double halfSeparation(const Scenario& scenario, const Tones& tones) {
  double least = 1.0 / (tones.back() - tones.front() + 1);
  for (std::size_t p = 1; p < scenario.delays_s.size(); ++p) {
    least = std::min(least, (scenario.delays_s[p] - scenario.delays_s[p - 1]) * spacing_Hz);
  }
  return 0.5 * least;
}

void judge(const Scenario& scenario, const Tones& tones, const Trial& trial,
           const flightpath::Estimate& paths, Score& score) {
  ++score.trials;
  score.over += paths.size() > scenario.delays_s.size() ? 1 : 0;
  score.under += paths.size() < scenario.delays_s.size() ? 1 : 0;
  if (paths.size() != scenario.delays_s.size()) {
    return;
  }
  std::vector<double> errors;
  for (std::size_t p = 0; p < paths.size(); ++p) {
    errors.push_back((paths[p].Delay_s - scenario.delays_s[p]) * spacing_Hz);
    if (std::fabs(errors.back()) > halfSeparation(scenario, tones)) {
      return;
    }
  }
  ++score.found;
  for (std::size_t p = 0; p < paths.size(); ++p) {
    const flightpath::Path path = paths[p];
    score.squares += errors[p] * errors[p] / trial.bound[p] / trial.bound[p];
    ++score.errors;
    const double deviation = path.Deviation_m * spacing_Hz / speedOfLight_mps;
    for (int k = 0; k < 3; ++k) {
      score.within[k] += std::fabs(errors[p]) <= (k + 1) * deviation ? 1 : 0;
    }
    if (!std::isnan(path.Lower_m)) {
      const double truth_m = scenario.delays_s[p] * speedOfLight_mps;
      score.inInterval += path.Lower_m <= truth_m && truth_m <= path.Upper_m ? 1 : 0;
      ++score.intervals;
    }
  }
}

using Clock = std::chrono::steady_clock;

double since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

int strideOf(const Tones& tones) {
  int stride = 0;
  for (const int t : tones) {
    stride = std::gcd(stride, t - tones.front());
  }
  return stride;
}

/// The Rangers for one set of tones: of maximum likelihood, the same with intervals, and of Music where
/// the tones are evenly spaced.
class Engine {
 public:
  Engine(const Scenario& scenario, const Tones& tones) : numTones_(tones.size()) {
    flightpath::RangingOptions options = optionsFor(scenario, tones);
    plain_ = make(options, tones);
    options.IntervalLevel = threeDeviations;
    withIntervals_ = make(options, tones);
    const auto extent = static_cast<std::size_t>((tones.back() - tones.front()) / strideOf(tones));
    if (extent + 1 == tones.size()) {
      flightpath::RangingOptions music;
      music.Method = flightpath::RangingMethod::Music;
      music.SubcarrierSpacing = spacing_Hz;
      music.Tones = tones;
      music.SnapshotsPerEstimate = options.SnapshotsPerEstimate;
      music_ = make(music, tones);
    }
  }

  flightpath::PathSet run(const Trial& trial, Score& score) {
    const flightpath::CsiRows rows(trial.samples, numTones_);
    if (music_ != nullptr) {
      const auto begin = Clock::now();
      music_->estimate(rows, found_);
      score.music_s += since(begin);
    }
    const auto begin = Clock::now();
    plain_->estimate(rows, found_);
    score.likelihood_s += since(begin);
    return score.trials % 10 == 0 ? withIntervals_->estimate(rows) : found_;
  }

 private:
  static flightpath::RangingOptions optionsFor(const Scenario& scenario, const Tones& tones) {
    flightpath::RangingOptions options;
    options.SubcarrierSpacing = spacing_Hz;
    options.Tones = tones;
    options.SnapshotsPerEstimate = static_cast<std::uint32_t>(scenario.snapshots);
    const double range_m = speedOfLight_mps / spacing_Hz;
    options.EarliestDistance = scenario.window < 1.0 ? 0.0 : -0.05 * range_m;
    options.LatestDistance =
        *options.EarliestDistance + scenario.window * range_m / strideOf(tones);
    return options;
  }

  static std::unique_ptr<flightpath::Ranger> make(const flightpath::RangingOptions& options,
                                                  const Tones& tones) {
    return std::make_unique<flightpath::Ranger>(static_cast<std::uint32_t>(tones.size()), options);
  }

  std::size_t numTones_;
  std::unique_ptr<flightpath::Ranger> plain_;
  std::unique_ptr<flightpath::Ranger> withIntervals_;
  std::unique_ptr<flightpath::Ranger> music_;
  flightpath::PathSet found_;
};

Score run(const Scenario& scenario, int numTrials) {
  Random random(2026);
  Score score;
  Tones tones = scenario.tones(random);
  auto engine = std::make_unique<Engine>(scenario, tones);
  for (int i = 0; i < numTrials; ++i) {
    if (scenario.tonesAreDrawn && i % 10 == 0) {
      tones = scenario.tones(random);
      engine = std::make_unique<Engine>(scenario, tones);
    }
    const Trial trial(scenario, tones, random);
    const flightpath::PathSet found = engine->run(trial, score);
    judge(scenario, tones, trial, found[0], score);
  }
  return score;
}

void print(const Scenario& scenario, const Score& score) {
  const auto percent = [](int part, int whole) { return whole > 0 ? 100.0 * part / whole : NAN; };
  std::printf("%-32s %7.2f %6.2f %6.2f %9.3f %6.2f %6.2f %6.2f %8.2f %7.1f %7.1f\n",
              scenario.name.c_str(), percent(score.found, score.trials),
              percent(score.over, score.trials), percent(score.under, score.trials),
              std::sqrt(score.squares / score.errors), percent(score.within[0], score.errors),
              percent(score.within[1], score.errors), percent(score.within[2], score.errors),
              percent(score.inInterval, score.intervals), 1e6 * score.music_s / score.trials,
              1e6 * score.likelihood_s / score.trials);
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || argc > 3) {
    std::fputs("usage: flightpath_likelihood TRIALS [NAME]\n", stderr);
    return 1;
  }
  std::printf("%-32s %7s %6s %6s %9s %6s %6s %6s %8s %7s %7s\n", "", "found %", "over", "under",
              "error/CRB", "1", "2", "3", "interval", "us, Mu.", "us, ML");
  for (const Scenario& scenario : bench::pathScenarios()) {
    if (argc == 2 || scenario.name.find(argv[2]) != std::string::npos) {
      print(scenario, run(scenario, std::atoi(argv[1])));
    }
  }
  return 0;
}
