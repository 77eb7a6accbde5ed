// Draws the channels of the accuracy scenarios, estimates them, and writes both down:
//
//   flightpath_accuracy OUTDIR TRIALS page|trust
//
// page   the scenarios of docs/benchmarks.md, by every engine
// trust  those of docs/trust.md: from 0 dB up, two paths that approach each other, tones with gaps
//
// OUTDIR/NAME.json     the scenario, and per trial the path phases and what was found
// OUTDIR/NAME.samples  the measurements, complex float32, one row per trial: what peers are given

#include <flightpath/flightpath.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "simulated_channel.h"

namespace {

using flightpath::Ranger;
using flightpath::RangingMethod;
using flightpath::RangingOptions;

constexpr std::uint32_t spacing_Hz = 312500;

struct Scenario {
  std::string name;
  int numSubcarriers;
  double snr_dB;                     // of the strongest path
  std::vector<SimulatedPath> paths;  // phases are drawn for every trial
  std::vector<int> tones = {};       // of the subcarriers; empty: all
};

std::vector<SimulatedPath> easyThree() {
  return {{40e-9, 1.0, 0.0}, {110e-9, 0.7, 0.0}, {200e-9, 0.5, 0.0}};
}

std::vector<Scenario> scenariosOfThePage() {
  return {
      {"one", 64, 20.0, {{40e-9, 1.0, 0.0}}},
      {"easy3", 64, 30.0, easyThree()},
      {"weak3", 64, 10.0, easyThree()},
      {"close3", 64, 30.0, {{40e-9, 1.0, 0.0}, {70e-9, 0.7, 0.0}, {120e-9, 0.5, 0.0}}},
      {"wide3", 242, 25.0, {{40e-9, 1.0, 0.0}, {58e-9, 0.7, 0.0}, {85e-9, 0.5, 0.0}}},
      {"wide5",
       242,
       30.0,
       {{30e-9, 1.0, 0.0},
        {55e-9, 0.8, 0.0},
        {90e-9, 0.6, 0.0},
        {140e-9, 0.5, 0.0},
        {200e-9, 0.4, 0.0}}},
      {"none", 64, 0.0, {}},
  };
}

/// Three paths from 0 dB up.
void addLevels(std::vector<Scenario>& all) {
  for (int snr_dB = 0; snr_dB <= 40; snr_dB += 5) {
    all.push_back(
        {"level-" + std::to_string(snr_dB), 64, static_cast<double>(snr_dB), easyThree()});
  }
}

/// Two paths that approach each other, in hundredths of a cell.
void addPairs(std::vector<Scenario>& all) {
  constexpr double cell_s = 1.0 / (64 * 312500.0);
  for (const int hundredths : {5, 10, 15, 20, 25, 35, 50, 70, 100, 140, 200}) {
    all.push_back({"pair-" + std::to_string(hundredths),
                   64,
                   30.0,
                   {{40e-9, 1.0, 0.0}, {40e-9 + 0.01 * hundredths * cell_s, 0.7, 0.0}}});
  }
}

/// What receivers leave out, with the tones' indices counted from the first.
void addGaps(std::vector<Scenario>& all) {
  using flightpath::TonePreset;
  const std::vector<std::pair<const char*, TonePreset>> presets = {
      {"Legacy20", TonePreset::Legacy20},
      {"HT20", TonePreset::HT20},
      {"HT40", TonePreset::HT40},
      {"Grouped20", TonePreset::Grouped20}};
  for (const auto& [name, preset] : presets) {
    std::vector<int> tones = flightpath::tonesOf(preset);
    const int first = tones.front();
    for (int& tone : tones) {
      tone -= first;
    }
    all.push_back({std::string("gaps-") + name, tones.back() + 1, 30.0, easyThree(), tones});
  }
}

std::vector<Scenario> scenariosOfTrust() {
  std::vector<Scenario> all;
  addLevels(all);
  addPairs(all);
  addGaps(all);
  return all;
}

class JsonList {
 public:
  explicit JsonList(std::ostream& out) : out_(out) { out_ << '['; }
  ~JsonList() { out_ << ']'; }
  JsonList(const JsonList&) = delete;
  JsonList& operator=(const JsonList&) = delete;
  std::ostream& next() { return out_ << (first_ ? (first_ = false, "") : ", "); }

 private:
  std::ostream& out_;
  bool first_ = true;
};

template <class Values, class Value>
void writeList(std::ostream& out, const Values& values, Value value) {
  JsonList list(out);
  for (const auto& element : values) {
    list.next() << value(element);
  }
}

void drawPhases(std::vector<SimulatedPath>& paths, std::mt19937_64& random) {
  std::uniform_real_distribution<double> phase_rad(0.0, 6.283185307179586);
  for (SimulatedPath& path : paths) {
    path.phase_rad = phase_rad(random);
  }
}

/// A path as an engine reports it. Infinite where it says nothing.
struct Reported {
  double delay_s;
  double deviation_s = INFINITY;
  double lower_s = -INFINITY;
  double upper_s = INFINITY;
};

struct Engine {
  std::string name;
  std::function<std::vector<Reported>(const std::vector<creal32_T>&)> estimate;
};

Engine dense() {
  return {
      "dense", [](const std::vector<creal32_T>& samples) {
        const CSI csi = {spacing_Hz, static_cast<std::uint16_t>(samples.size()), samples.data()};
        std::vector<Reported> all;
        for (const double delay_s : MUSIC::estimateToF(csi).TimesOfFlight) {
          all.push_back({delay_s});
        }
        return all;
      }};
}

Engine ranging(const std::string& name, std::size_t numSamples, RangingOptions options) {
  options.SubcarrierSpacing = spacing_Hz;
  const auto ranger = std::make_shared<Ranger>(static_cast<std::uint32_t>(numSamples), options);
  return {name, [ranger](const std::vector<creal32_T>& samples) {
            constexpr double c_mps = 299792458.0;
            const flightpath::PathSet found = ranger->estimate(samples);
            std::vector<Reported> all;
            for (const flightpath::Path path : found[0]) {
              all.push_back({path.Delay_s, path.Deviation_m / c_mps, path.Lower_m / c_mps,
                             path.Upper_m / c_mps});
            }
            return all;
          }};
}

RangingOptions by(RangingMethod method) {
  RangingOptions options;
  options.Method = method;
  return options;
}

std::vector<Engine> enginesOfThePage(const Scenario& scenario) {
  const auto N = static_cast<std::size_t>(scenario.numSubcarriers);
  return {dense(), ranging("music", N, by(RangingMethod::Music)),
          ranging("likelihood", N, by(RangingMethod::MaximumLikelihood))};
}

/// With intervals; tones with gaps in a window of half the unambiguous range, and beside it what becomes of
/// them when they are packed together.
std::vector<Engine> enginesOfTrust(const Scenario& scenario) {
  RangingOptions likelihood;
  likelihood.IntervalLevel = 0.9545;
  likelihood.Tones = scenario.tones;
  if (!scenario.tones.empty()) {
    likelihood.EarliestDistance = 0.0;
    likelihood.LatestDistance = 0.5 * 299792458.0 / spacing_Hz;
  }
  const std::size_t N = scenario.tones.empty() ? static_cast<std::size_t>(scenario.numSubcarriers)
                                               : scenario.tones.size();
  return {ranging("likelihood", N, likelihood), ranging("music", N, by(RangingMethod::Music))};
}

void writeNumber(std::ostream& out, double value) {
  if (std::isfinite(value)) {
    out << value;
  } else {
    out << "null";
  }
}

void writeAnswer(std::ostream& out, const Engine& engine, const std::vector<creal32_T>& samples) {
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  const std::vector<Reported> found = engine.estimate(samples);
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  out << ", \"" << engine.name << "\": {\"seconds\": " << seconds;
  for (const auto& [name, field] :
       {std::pair("found_s", &Reported::delay_s), std::pair("deviations_s", &Reported::deviation_s),
        std::pair("lower_s", &Reported::lower_s), std::pair("upper_s", &Reported::upper_s)}) {
    out << ", \"" << name << "\": ";
    JsonList list(out);
    for (const Reported& path : found) {
      writeNumber(list.next(), path.*field);
    }
  }
  out << '}';
}

void writeHeader(std::ostream& out, const Scenario& scenario) {
  out.precision(12);
  out << "{\"name\": \"" << scenario.name << "\", \"N\": " << scenario.numSubcarriers
      << ", \"spacing_Hz\": " << spacing_Hz << ", \"snr_dB\": " << scenario.snr_dB
      << ",\n\"tones\": ";
  writeList(out, scenario.tones, [](int tone) { return tone; });
  out << ", \"delays_s\": ";
  writeList(out, scenario.paths, [](const SimulatedPath& path) { return path.delay_s; });
  out << ", \"amplitudes\": ";
  writeList(out, scenario.paths, [](const SimulatedPath& path) { return path.amplitude; });
}

/// The simulator wants the power of all paths together over the noise.
double togetherOverNoise_dB(const Scenario& scenario) {
  double together = 0.0;
  double strongest = 0.0;
  for (const SimulatedPath& path : scenario.paths) {
    together += path.amplitude * path.amplitude;
    strongest = std::max(strongest, path.amplitude * path.amplitude);
  }
  return scenario.paths.empty() ? 0.0 : scenario.snr_dB + 10.0 * std::log10(together / strongest);
}

std::vector<creal32_T> measure(const Scenario& scenario, const std::vector<SimulatedPath>& paths,
                               std::mt19937_64& random) {
  const std::vector<creal32_T> all = simulateChannel(
      paths,
      {scenario.numSubcarriers, static_cast<double>(spacing_Hz), togetherOverNoise_dB(scenario)},
      random);
  if (scenario.tones.empty()) {
    return all;
  }
  std::vector<creal32_T> samples;
  for (const int tone : scenario.tones) {
    samples.push_back(all[static_cast<std::size_t>(tone)]);
  }
  return samples;
}

void run(const Scenario& scenario, const std::vector<Engine>& engines, const std::string& folder,
         int numTrials) {
  std::ofstream json(folder + "/" + scenario.name + ".json");
  std::ofstream vectors(folder + "/" + scenario.name + ".samples", std::ios::binary);
  writeHeader(json, scenario);
  json << ",\n\"trials\": ";
  std::mt19937_64 random(2026);
  std::vector<SimulatedPath> paths = scenario.paths;
  JsonList trials(json);
  for (int trial = 0; trial < numTrials; ++trial) {
    drawPhases(paths, random);
    const auto samples = measure(scenario, paths, random);
    vectors.write(reinterpret_cast<const char*>(samples.data()),
                  static_cast<std::streamsize>(samples.size() * sizeof(creal32_T)));
    std::ostream& out = trials.next() << "\n{\"phases_rad\": ";
    writeList(out, paths, [](const SimulatedPath& path) { return path.phase_rad; });
    for (const Engine& engine : engines) {
      writeAnswer(out, engine, samples);
    }
    out << '}';
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::string set = argc == 4 ? argv[3] : "";
  if (set != "page" && set != "trust") {
    std::fputs("usage: flightpath_accuracy OUTDIR TRIALS page|trust\n", stderr);
    return 1;
  }
  for (const Scenario& scenario : set == "page" ? scenariosOfThePage() : scenariosOfTrust()) {
    run(scenario, set == "page" ? enginesOfThePage(scenario) : enginesOfTrust(scenario), argv[1],
        std::atoi(argv[2]));
    // Closed after the list of trials is complete.
    std::ofstream(std::string(argv[1]) + "/" + scenario.name + ".json", std::ios::app) << "}\n";
  }
  return 0;
}
