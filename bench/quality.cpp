// What the words for answers (flightpath::Quality) refuse, and what is left:
//
//   flightpath_quality TRIALS uwb_ranging.csv uwb_ranging_truth.csv uwb_ranging_pulse.csv [answers]
//
// Over the channels of diffuse_channels.h, at 10, 20 and 30 dB, 64 and 242 tones, the exponential and the
// cluster ones at K = -5 to 10 dB, the others at 0 and 5 dB; a Ranger's (maximum likelihood) also over those of
// path_channels.h that have a path; and over the surveyed ones, with half of the difference to the chip's
// first path. A Ranger's answer is its earliest path.
//
// Even trials, and every other place of a kind, are those that thresholds are set on; odd ones show them.
//
// A line per group of the half that shows; of all simulated ones and of all, both halves:
//
// n             answers
// not good      share that is not Good, in per cent: what is refused where only Good is taken
// of the worst  share of the tenth with the largest errors that is among these: errors in metres; in cells
// poor          the same of those that are Poor
// all           error in cells: median, 90 %, RMS
// good          the same of those that are Good
// not poor      and of those that are not Poor
//
// With `answers`, one line per answer instead, for looking into them: estimator, group, half, error and cell in
// m, word, deviation in cells, and of a Ranger structure, weakest and next margin, of LineOfSight probability,
// Rician factor and misfit.

#include <flightpath/flightpath.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <functional>
#include <map>
#include <numeric>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "bench/diffuse_channels.h"
#include "bench/path_channels.h"
#include "bench/surveyed_channels.h"

namespace {

using flightpath::Quality;
using Complex = std::complex<double>;

constexpr double speedOfLight_mps = 299792458.0;

struct Answer {
  std::string group;
  bool isSimulated;
  bool isShown;
  double error_m;
  double cell_m;
  Quality quality;
  double numbers[4];
};

using Answers = std::vector<Answer>;

/// Both estimators' answers to the same channels.
struct Rated {
  Answers lineOfSight;
  Answers ranger;
};

Answer answerOf(const flightpath::DirectPath& direct, double error_m, double cell_m) {
  return {{},
          true,
          false,
          error_m,
          cell_m,
          direct.Quality,
          {direct.Deviation_m / cell_m, direct.Probability, direct.RicianFactor_dB,
           direct.ProfileMisfit}};
}

Answer answerOf(const flightpath::Estimate& estimate, double error_m, double cell_m) {
  const flightpath::EstimateInfo info = estimate.info();
  return {{},
          true,
          false,
          error_m,
          cell_m,
          info.Quality,
          {estimate[0].Deviation_m / cell_m, info.ResidualStructure, info.WeakestMargin,
           info.NextMargin}};
}

void add(Answers& to, const std::string& group, std::size_t trial, Answer answer) {
  answer.group = group;
  answer.isShown = trial % 2 == 1;
  to.push_back(answer);
}

// --- Simulated channels -----------------------------------------------------------------------------

std::vector<bench::DiffuseScenario> diffuseScenarios() {
  std::vector<bench::DiffuseScenario> all;
  for (const int tones : {64, 242}) {
    for (const double snr_dB : {10.0, 20.0, 30.0}) {
      for (const char* const shape : {"exponential", "cluster"}) {
        for (const double decay_s : {20e-9, 50e-9}) {
          for (const double K_dB : {-5.0, 0.0, 5.0, 10.0}) {
            all.push_back({shape, shape, tones, snr_dB, decay_s, K_dB});
          }
        }
      }
      for (const char* const shape :
           {"box", "late", "five", "hidden", "two tails", "sparse", "clean"}) {
        for (const double K_dB : {0.0, 5.0}) {
          all.push_back({shape, shape, tones, snr_dB, 30e-9, K_dB});
        }
      }
      all.push_back({"no direct path", "exponential", tones, snr_dB, 20e-9, -100.0});
      all.push_back({"no direct path", "exponential", tones, snr_dB, 50e-9, -100.0});
    }
  }
  return all;
}

void rate(const bench::DiffuseScenario& scenario, int count, Rated& rated) {
  const bench::DiffuseTrials trials = bench::draw(scenario, count);
  const auto N = static_cast<std::uint32_t>(scenario.tones);
  flightpath::LineOfSightOptions options;
  options.SubcarrierSpacing = bench::diffuseSpacing_Hz;
  flightpath::RangingOptions same;
  same.SubcarrierSpacing = options.SubcarrierSpacing;
  const auto direct = flightpath::LineOfSight(N, options).estimate({trials.samples, N});
  const auto paths = flightpath::Ranger(N, same).estimate({trials.samples, N});
  const double cell_m = paths.context().ResolutionCell_m;
  for (std::size_t i = 0; i < direct.size(); ++i) {
    const double truth_m = 1e-9 * trials.truths_ns[i] * speedOfLight_mps;
    if (direct[i].Result == flightpath::Outcome::Found) {
      add(rated.lineOfSight, scenario.name, i,
          answerOf(direct[i], direct[i].Distance_m - truth_m, cell_m));
    }
    if (!paths[i].empty()) {
      add(rated.ranger, scenario.name, i,
          answerOf(paths[i], paths[i][0].Distance_m - truth_m, cell_m));
    }
  }
}

flightpath::Ranger rangerFor(const bench::PathScenario& scenario, const bench::Tones& tones) {
  int stride = 0;
  for (const int t : tones) {
    stride = std::gcd(stride, t - tones.front());
  }
  flightpath::RangingOptions options;
  options.SubcarrierSpacing = bench::pathSpacing_Hz;
  options.Tones = tones;
  options.SnapshotsPerEstimate = static_cast<std::uint32_t>(scenario.snapshots);
  const double range_m = speedOfLight_mps / bench::pathSpacing_Hz;
  options.EarliestDistance = scenario.window < 1.0 ? 0.0 : -0.05 * range_m;
  options.LatestDistance = *options.EarliestDistance + scenario.window * range_m / stride;
  return {static_cast<std::uint32_t>(tones.size()), options};
}

/// Their groups: tones that are contiguous, those with gaps, and rows that share their paths.
std::string groupOf(const bench::PathScenario& scenario, const bench::Tones& tones) {
  const bool isContiguous = tones.back() - tones.front() + 1 == static_cast<int>(tones.size());
  if (scenario.snapshots > 1) {
    return "few paths, rows";
  }
  return isContiguous ? "few paths" : "few paths, gaps";
}

void rate(const bench::PathScenario& scenario, int count, Answers& answers) {
  bench::Random random(2026);
  const bench::Tones tones = scenario.tones(random);
  flightpath::Ranger ranger = rangerFor(scenario, tones);
  std::normal_distribution<> noise(0.0, std::sqrt(0.5 * std::pow(10.0, -scenario.snr_dB / 10.0)));
  std::vector<Complex> batch;
  for (int i = 0; i < count; ++i) {
    for (const Complex clean : bench::drawRows(scenario, tones, random)) {
      const double re = noise(random);
      batch.push_back(clean + Complex(re, noise(random)));
    }
  }
  const flightpath::PathSet found = ranger.estimate({batch, tones.size()});
  for (std::size_t i = 0; i < found.size(); ++i) {
    if (!found[i].empty()) {
      const double error_m = found[i][0].Distance_m - scenario.delays_s[0] * speedOfLight_mps;
      add(answers, groupOf(scenario, tones), i,
          answerOf(found[i], error_m, found.context().ResolutionCell_m));
    }
  }
}

// --- Measured channels ------------------------------------------------------------------------------

/// Per row, which place of its kind it was measured at.
std::vector<std::size_t> places(const std::vector<bench::SurveyedTruth>& truths) {
  std::map<std::string, std::vector<int>> seen;
  std::vector<std::size_t> all;
  for (const bench::SurveyedTruth& truth : truths) {
    std::vector<int>& ofKind = seen[truth.kind];
    if (ofKind.empty() || ofKind.back() != truth.configuration) {
      ofKind.push_back(truth.configuration);
    }
    all.push_back(ofKind.size() - 1);
  }
  return all;
}

void rate(const bench::SurveyedChannels& channels, Rated& rated) {
  const auto N = static_cast<std::uint32_t>(channels.magnitudes.size());
  const flightpath::CsiRows rows(channels.samples, N);
  const auto direct =
      flightpath::LineOfSight(N, bench::surveyedOptions<flightpath::LineOfSightOptions>(channels))
          .estimate(rows);
  const auto paths =
      flightpath::Ranger(N, bench::surveyedOptions<flightpath::RangingOptions>(channels))
          .estimate(rows);
  const double cell_m = paths.context().ResolutionCell_m;
  const std::vector<std::size_t> place = places(channels.truths);
  for (std::size_t i = 0; i < direct.size(); ++i) {
    const bench::SurveyedTruth& truth = channels.truths[i];
    const auto error_m = [&](double delay_s) {
      return bench::surveyedError_m(truth, 1e9 * delay_s, 0.5);
    };
    add(rated.lineOfSight, truth.kind, place[i],
        answerOf(direct[i], error_m(direct[i].Delay_s), cell_m));
    rated.lineOfSight.back().isSimulated = false;
    if (!paths[i].empty()) {
      add(rated.ranger, truth.kind, place[i],
          answerOf(paths[i], error_m(paths[i][0].Delay_s), cell_m));
      rated.ranger.back().isSimulated = false;
    }
  }
}

// --- The table --------------------------------------------------------------------------------------

using Refuses = bool (*)(const Answer&);

bool refusesNone(const Answer&) { return false; }
bool isNotGood(const Answer& answer) { return answer.quality != Quality::Good; }
bool isPoor(const Answer& answer) { return answer.quality == Quality::Poor; }

double inMetres(const Answer& answer) { return std::fabs(answer.error_m); }
double inCells(const Answer& answer) { return std::fabs(answer.error_m) / answer.cell_m; }

double quantile(std::vector<double> values, double share) {
  if (values.empty()) {
    return NAN;
  }
  const auto at = static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1) + 0.5);
  std::nth_element(values.begin(), values.begin() + at, values.end());
  return values[static_cast<std::size_t>(at)];
}

double percentRefused(const Answers& answers, Refuses refuses) {
  return 100.0 * static_cast<double>(std::count_if(answers.begin(), answers.end(), refuses)) /
         static_cast<double>(answers.size());
}

Answers worstTenth(Answers answers, double (*size)(const Answer&)) {
  std::stable_sort(answers.begin(), answers.end(),
                   [&](const Answer& a, const Answer& b) { return size(a) > size(b); });
  answers.resize(std::max<std::size_t>(1, answers.size() / 10));
  return answers;
}

void printRefused(const Answers& answers, Refuses refuses) {
  std::printf("  %5.1f %5.1f %5.1f", percentRefused(answers, refuses),
              percentRefused(worstTenth(answers, inMetres), refuses),
              percentRefused(worstTenth(answers, inCells), refuses));
}

void printErrors(const Answers& answers, Refuses refuses) {
  std::vector<double> cells;
  double squares = 0.0;
  for (const Answer& answer : answers) {
    if (!refuses(answer)) {
      cells.push_back(inCells(answer));
      squares += cells.back() * cells.back();
    }
  }
  if (cells.empty()) {
    std::printf("  %6s %6s %6s", "-", "-", "-");
    return;
  }
  std::printf("  %6.3f %6.3f %6.3f", quantile(cells, 0.5), quantile(cells, 0.9),
              std::sqrt(squares / static_cast<double>(cells.size())));
}

void printRow(const std::string& name, const Answers& all,
              const std::function<bool(const Answer&)>& belongs) {
  Answers answers;
  std::copy_if(all.begin(), all.end(), std::back_inserter(answers), belongs);
  std::printf("%-22s %6zu", name.c_str(), answers.size());
  printRefused(answers, isNotGood);
  printRefused(answers, isPoor);
  printErrors(answers, refusesNone);
  printErrors(answers, isNotGood);
  printErrors(answers, isPoor);
  std::printf("\n");
}

void printTable(const char* estimator, const Answers& answers) {
  std::printf("%-22s %6s  %-17s  %-17s  %-20s  %-20s  %s\n", estimator, "n", "not good: m cells",
              "poor:     m cells", "all", "good", "not poor");
  std::set<std::string> groups;
  for (const Answer& answer : answers) {
    groups.insert(answer.group);
  }
  for (const std::string& group : groups) {
    printRow(group, answers, [&](const Answer& a) { return a.isShown && a.group == group; });
  }
  for (const bool isShown : {true, false}) {
    const std::string half = isShown ? ", shown" : ", set";
    printRow("simulated" + half, answers,
             [&](const Answer& a) { return a.isShown == isShown && a.isSimulated; });
    printRow("measured" + half, answers,
             [&](const Answer& a) { return a.isShown == isShown && !a.isSimulated; });
    printRow("all" + half, answers, [&](const Answer& a) { return a.isShown == isShown; });
  }
}

void printAnswers(const char* estimator, const Answers& answers) {
  for (const Answer& a : answers) {
    std::printf("%s,\"%s\",%s,%g,%g,%s", estimator, a.group.c_str(), a.isShown ? "shown" : "set",
                a.error_m, a.cell_m, toString(a.quality));
    for (const double number : a.numbers) {
      std::printf(",%g", number);
    }
    std::printf("\n");
  }
}

void run(int argc, char** argv) {
  const int count = std::atoi(argv[1]);
  Rated rated;
  rate(bench::readSurveyed(argv[2], argv[3], argv[4]), rated);
  for (const bench::DiffuseScenario& scenario : diffuseScenarios()) {
    rate(scenario, count, rated);
  }
  for (const bench::PathScenario& scenario : bench::pathScenarios()) {
    if (!scenario.delays_s.empty()) {
      rate(scenario, count, rated.ranger);
    }
  }
  const auto print = argc > 5 && std::strcmp(argv[5], "answers") == 0 ? printAnswers : printTable;
  print("LineOfSight", rated.lineOfSight);
  print("Ranger", rated.ranger);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 5) {
    std::fprintf(stderr,
                 "flightpath_quality TRIALS MEASUREMENTS.csv TRUTH.csv PULSE.csv [answers]\n");
    return 2;
  }
  try {
    run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
