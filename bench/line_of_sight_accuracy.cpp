// How near LineOfSight comes to the direct path of channels with a diffuse tail, beside the first path of
// a Ranger's two methods:
//
//   flightpath_line_of_sight TRIALS [NAME]
//
// Over the channels of diffuse_channels.h.
//
// median, RMS  of the error, in ns: LineOfSight; the earliest path within 15 dB of the strongest by
//              maximum likelihood and by Music
// 1, 2, 3      the truth within the central interval of 68.27, 95.45 and 99.73 %, in per cent
// 2 dev.       and within two deviations
// P            mean probability of a direct path; "absent" has none
// fit          mean of ProfileMisfit
// us           per estimate, on whatever else this machine is doing

#include <flightpath/flightpath.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/diffuse_channels.h"

namespace {

using Scenario = bench::DiffuseScenario;
using Trials = bench::DiffuseTrials;

constexpr double spacing_Hz = bench::diffuseSpacing_Hz;
constexpr double levels[] = {0.682689492137086, 0.954499736103642, 0.997300203936740};

double nanoseconds(double metres) { return metres / 299792458.0 * 1e9; }

struct Errors {
  std::vector<double> ns;

  double median() {
    std::vector<double> sizes;
    for (const double error : ns) {
      sizes.push_back(std::fabs(error));
    }
    if (sizes.empty()) {
      return NAN;
    }
    const auto middle = sizes.begin() + static_cast<std::ptrdiff_t>(sizes.size() / 2);
    std::nth_element(sizes.begin(), middle, sizes.end());
    return *middle;
  }
  double rms() const {
    double sum = 0.0;
    for (const double error : ns) {
      sum += error * error;
    }
    return std::sqrt(sum / static_cast<double>(ns.size()));
  }
};

/// The earliest path within 15 dB of the strongest; none where there is no path.
void addEarliest(const flightpath::Estimate& estimate, double truth_ns, Errors& errors) {
  float highest = -INFINITY;
  for (const flightpath::Path path : estimate) {
    highest = std::max(highest, path.Peak_dB);
  }
  double earliest_ns = INFINITY;
  for (const flightpath::Path path : estimate) {
    if (path.Peak_dB >= highest - 15.0F) {
      earliest_ns = std::min(earliest_ns, nanoseconds(path.Distance_m));
    }
  }
  if (std::isfinite(earliest_ns)) {
    errors.ns.push_back(earliest_ns - truth_ns);
  }
}

flightpath::Ranger ranger(int tones, flightpath::RangingMethod method) {
  flightpath::RangingOptions options;
  options.SubcarrierSpacing = spacing_Hz;
  options.Method = method;
  return {static_cast<std::uint32_t>(tones), options};
}

std::vector<flightpath::DirectPath> estimate(const Scenario& s, const Trials& trials,
                                             double level) {
  flightpath::LineOfSightOptions options;
  options.SubcarrierSpacing = spacing_Hz;
  options.IntervalLevel = level;
  flightpath::LineOfSight lineOfSight(static_cast<std::uint32_t>(s.tones), options);
  return lineOfSight.estimate({trials.samples, static_cast<std::size_t>(s.tones)});
}

void run(const Scenario& s, int count) {
  const Trials trials = bench::draw(s, count);
  const auto began = std::chrono::steady_clock::now();
  const auto found = estimate(s, trials, levels[1]);
  const double took_us =
      std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - began).count();
  Errors mine;
  double probability = 0.0;
  double misfit = 0.0;
  int within[4] = {};
  for (std::size_t i = 0; i < found.size(); ++i) {
    const double error = nanoseconds(found[i].Distance_m) - trials.truths_ns[i];
    if (found[i].Result == flightpath::Outcome::Found) {
      mine.ns.push_back(error);
      probability += found[i].Probability;
      misfit += found[i].ProfileMisfit;
      within[3] += std::fabs(error) <= 2.0 * nanoseconds(found[i].Deviation_m) ? 1 : 0;
    }
  }
  for (int level = 0; level < 3; ++level) {
    const auto intervals = estimate(s, trials, levels[level]);
    for (std::size_t i = 0; i < intervals.size(); ++i) {
      const double truth_ns = trials.truths_ns[i];
      within[level] += nanoseconds(intervals[i].Lower_m) <= truth_ns &&
                               truth_ns <= nanoseconds(intervals[i].Upper_m)
                           ? 1
                           : 0;
    }
  }
  Errors others[2];
  const auto N = static_cast<std::size_t>(s.tones);
  flightpath::Ranger likelihood = ranger(s.tones, flightpath::RangingMethod::MaximumLikelihood);
  flightpath::Ranger music = ranger(s.tones, flightpath::RangingMethod::Music);
  const flightpath::PathSet byLikelihood = likelihood.estimate({trials.samples, N});
  const flightpath::PathSet byMusic = music.estimate({trials.samples, N});
  for (std::size_t i = 0; i < byLikelihood.size(); ++i) {
    addEarliest(byLikelihood[i], trials.truths_ns[i], others[0]);
    addEarliest(byMusic[i], trials.truths_ns[i], others[1]);
  }
  const double percent = 100.0 / static_cast<double>(count);
  std::printf(
      "%-32s %6.2f %6.2f  %6.2f %6.2f  %6.2f %6.2f  %5.1f %5.1f %5.1f  %5.1f  %5.2f %5.2f %7.0f\n",
      s.name.c_str(), mine.median(), mine.rms(), others[0].median(), others[0].rms(),
      others[1].median(), others[1].rms(), within[0] * percent, within[1] * percent,
      within[2] * percent, within[3] * percent, probability / static_cast<double>(mine.ns.size()),
      misfit / static_cast<double>(mine.ns.size()), took_us / count);
  std::fflush(stdout);
}

std::vector<Scenario> scenarios() {
  std::vector<Scenario> all;
  for (const double decay_s : {20e-9, 50e-9}) {
    for (const int K : {-5, 0, 5, 10}) {
      all.push_back({"exponential " + std::to_string(std::lround(decay_s * 1e9)) + " ns, K " +
                         std::to_string(K) + " dB",
                     "exponential", 64, 30.0, decay_s, double(K)});
    }
  }
  all.push_back({"exponential 50 ns, K 0 dB, 20 dB", "exponential", 64, 20.0, 50e-9, 0.0});
  all.push_back({"cluster 50 ns, K 0 dB, 20 dB", "cluster", 64, 20.0, 50e-9, 0.0});
  all.push_back({"cluster 50 ns, K 10 dB, 20 dB", "cluster", 64, 20.0, 50e-9, 10.0});
  all.push_back({"242 tones, 20 ns, K 5 dB, 25 dB", "exponential", 242, 25.0, 20e-9, 5.0});
  for (const char* const shape :
       {"box", "late", "five", "hidden", "two tails", "sparse", "clean"}) {
    all.push_back({shape, shape, 64, 30.0, 30e-9, 5.0});
  }
  all.push_back({"absent", "exponential", 64, 30.0, 50e-9, -100.0});
  all.push_back({"clean, 242 tones", "clean", 242, 30.0, 30e-9, 5.0});
  return all;
}

}  // namespace

int main(int argc, char** argv) {
  const int count = argc > 1 ? std::atoi(argv[1]) : 1000;
  std::printf("%-32s %13s  %13s  %13s  %17s  %5s  %5s %5s %7s\n", "scenario", "LineOfSight",
              "likelihood", "Music", "1     2     3", "2 dev", "P", "fit", "us");
  for (const Scenario& s : scenarios()) {
    if (argc < 3 || s.name.find(argv[2]) != std::string::npos) {
      run(s, count);
    }
  }
}
