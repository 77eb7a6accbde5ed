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
#include <functional>
#include <limits>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "flightpath/likelihood/normal_equations.h"
#include "flightpath/likelihood/path_fit.h"

namespace {

using Random = std::mt19937_64;
using Tones = std::vector<int>;

constexpr double spacing_Hz = 312500.0;
constexpr double speedOfLight_mps = 299792458.0;
constexpr double twoPi = 6.283185307179586;
constexpr double threeDeviations = 0.9973002039367398;

struct Scenario {
  std::string name;
  std::function<Tones(Random&)> tones;
  bool tonesAreDrawn;
  std::vector<double> delays_s;
  std::vector<double> amplitudes;
  double snr_dB;
  int snapshots = 1;
  double window = 1.0;  // of the unambiguous range, from zero on
};

Tones range(int first, int last, int step = 1) {
  Tones tones;
  for (int t = first; t <= last; t += step) {
    tones.push_back(t);
  }
  return tones;
}

Tones joined(Tones a, const Tones& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

Tones drawn(int of, int count, Random& random) {
  Tones tones = range(0, of - 1);
  std::shuffle(tones.begin(), tones.end(), random);
  tones.resize(static_cast<std::size_t>(count));
  std::sort(tones.begin(), tones.end());
  return tones;
}

std::function<Tones(Random&)> always(const Tones& tones) {
  return [tones](Random&) { return tones; };
}

const std::vector<double> easy_s = {40e-9, 110e-9, 200e-9};
const std::vector<double> close_s = {40e-9, 70e-9, 120e-9};
const std::vector<double> three = {1.0, 0.7, 0.5};

void addContiguous(std::vector<Scenario>& all) {
  const auto t64 = always(range(0, 63));
  const auto t242 = always(range(0, 241));
  const double cell64_s = 1.0 / (64 * spacing_Hz);
  const double cell242_s = 1.0 / (242 * spacing_Hz);
  const std::vector<double> five = {1.0, 0.8, 0.6, 0.5, 0.4};
  std::vector<double> six_s;
  for (int i = 0; i < 6; ++i) {
    six_s.push_back(30e-9 + 4 * i * cell242_s);
  }
  all.push_back({"one path, 20 dB", t64, false, {40e-9}, {1.0}, 20.0});
  all.push_back({"one path, 0 dB", t64, false, {40e-9}, {1.0}, 0.0});
  for (const int snr : {30, 20, 10, 5}) {
    all.push_back(
        {"easy three, " + std::to_string(snr) + " dB", t64, false, easy_s, three, double(snr)});
  }
  all.push_back({"close three, 30 dB", t64, false, close_s, three, 30.0});
  all.push_back({"close three, 20 dB", t64, false, close_s, three, 20.0});
  all.push_back(
      {"half a cell, 20 dB", t64, false, {40e-9, 40e-9 + 0.5 * cell64_s}, {1.0, 0.5}, 20.0});
  all.push_back(
      {"quarter cell, 30 dB", t64, false, {40e-9, 40e-9 + 0.25 * cell64_s}, {1.0, 0.5}, 30.0});
  all.push_back({"wide three", t242, false, {40e-9, 58e-9, 85e-9}, three, 25.0});
  all.push_back({"wide five", t242, false, {30e-9, 55e-9, 90e-9, 140e-9, 200e-9}, five, 30.0});
  all.push_back({"six equal, 20 dB", t242, false, six_s, std::vector<double>(6, 1.0), 20.0});
  all.push_back({"noise, 64 tones", t64, false, {}, {}, 0.0});
  all.push_back({"noise, 242 tones", t242, false, {}, {}, 0.0});
  all.push_back({"noise, 12 tones", always(range(0, 11)), false, {}, {}, 0.0});
  for (const int snapshots : {2, 8}) {
    all.push_back({"easy three, 10 dB, " + std::to_string(snapshots) + " rows", t64, false, easy_s,
                   three, 10.0, snapshots});
    all.push_back({"close three, 20 dB, " + std::to_string(snapshots) + " rows", t64, false,
                   close_s, three, 20.0, snapshots});
    all.push_back(
        {"noise, " + std::to_string(snapshots) + " rows", t64, false, {}, {}, 0.0, snapshots});
  }
}

void addGaps(std::vector<Scenario>& all) {
  struct Set {
    const char* name;
    std::function<Tones(Random&)> tones;
    bool isDrawn = false;
    double window = 1.0;
    double latestBulk_s = 1e-6;
  };
  const Tones uneven = joined(joined(range(-28, -2, 2), {-1}), joined(range(1, 27, 2), {28}));
  const std::vector<Set> sets = {
      {"52 of 64", always(joined(range(-26, -1), range(1, 26)))},
      {"56 of 64", always(joined(range(-28, -1), range(1, 28)))},
      {"third missing", [](Random& r) { return drawn(64, 43, r); }, true},
      {"72, three lost", [](Random& r) { return drawn(72, 69, r); }, true},
      {"half missing", [](Random& r) { return drawn(64, 32, r); }, true},
      {"30 uneven", always(uneven)},
      {"30 uneven, window", always(uneven), false, 0.5},
      {"every fourth", always(range(0, 252, 4)), false, 1.0, 0.0},
      {"every fourth of 64", always(range(0, 60, 4)), false, 1.0, 0.0},
      {"two blocks", always(joined(range(0, 31), range(64, 95)))},
      {"two blocks, window", always(joined(range(0, 31), range(64, 95))), false, 0.5},
  };
  for (const Set& set : sets) {
    for (const auto& [name, delays_s] : {std::pair("easy", easy_s), std::pair("close", close_s)}) {
      for (const double bulk_s : {0.0, 1e-6}) {
        if (bulk_s > set.latestBulk_s) {
          continue;  // beyond the unambiguous range
        }
        Scenario s = {std::string(set.name) + ", " + name + (bulk_s > 0 ? " + 1 us" : ""),
                      set.tones,
                      set.isDrawn,
                      delays_s,
                      three,
                      30.0,
                      1,
                      set.window};
        for (double& delay_s : s.delays_s) {
          delay_s += bulk_s;
        }
        all.push_back(s);
      }
    }
  }
}

std::vector<Scenario> scenarios() {
  std::vector<Scenario> all;
  addContiguous(all);
  addGaps(all);
  return all;
}

/// One trial's channel: its samples in single precision, and its bound.
class Trial {
 public:
  Trial(const Scenario& scenario, const Tones& tones, Random& random)
      : bound(scenario.delays_s.size()), scenario_(scenario), tones_(tones) {
    drawAmplitudes(random);
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

  void drawAmplitudes(Random& random) {
    std::uniform_real_distribution<double> phase(0.0, twoPi);
    for (int row = 0; row < scenario_.snapshots; ++row) {
      std::vector<std::complex<double>> x;
      for (const double a : scenario_.amplitudes) {
        x.push_back(std::polar(a, phase(random)));
      }
      for (const int t : tones_) {
        std::complex<double> sum;
        for (std::size_t p = 0; p < x.size(); ++p) {
          sum += x[p] * std::polar(1.0, -twoPi * t * spacing_Hz * scenario_.delays_s[p]);
        }
        clean_.push_back(sum);
      }
    }
  }

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
  for (const Scenario& scenario : scenarios()) {
    if (argc == 2 || scenario.name.find(argv[2]) != std::string::npos) {
      print(scenario, run(scenario, std::atoi(argv[1])));
    }
  }
  return 0;
}
