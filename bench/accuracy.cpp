// Draws the channels of the accuracy scenarios, estimates them, and writes both down:
//
//   flightpath_accuracy OUTDIR TRIALS
//
// OUTDIR/NAME.json     the scenario, and per trial the path phases and the delays found
// OUTDIR/NAME.samples  the measurements, complex float32, one row per trial: what peers are given

#include <flightpath/flightpath.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "simulated_channel.h"

namespace {

constexpr std::uint32_t spacing_Hz = 312500;

struct Scenario {
  const char* name;
  int numSubcarriers;
  double snr_dB;
  std::vector<SimulatedPath> paths;  // phases are drawn for every trial
};

const std::vector<Scenario>& scenarios() {
  static const std::vector<Scenario> all = {
      {"one", 64, 20.0, {{40e-9, 1.0, 0.0}}},
      {"easy3", 64, 30.0, {{40e-9, 1.0, 0.0}, {110e-9, 0.7, 0.0}, {200e-9, 0.5, 0.0}}},
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

/// What one engine found, and how long it took.
struct Answer {
  std::vector<double> found_s;
  double seconds = 0.0;
};

template <class Estimate>
Answer timed(Estimate estimate) {
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  Answer answer = {estimate(), 0.0};
  answer.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  return answer;
}

void writeAnswer(std::ostream& out, const char* engine, const Answer& answer) {
  out << ", \"" << engine << "\": {\"found_s\": ";
  writeList(out, answer.found_s, [](double delay_s) { return delay_s; });
  out << ", \"seconds\": " << answer.seconds << '}';
}

/// The engines, in the order of the page.
struct Engines {
  Engines(int numSubcarriers)
      : music(make(numSubcarriers, flightpath::RangingMethod::Music)),
        likelihood(make(numSubcarriers, flightpath::RangingMethod::MaximumLikelihood)) {}

  static flightpath::Ranger make(int numSubcarriers, flightpath::RangingMethod method) {
    flightpath::RangingOptions options;
    options.Method = method;
    options.SubcarrierSpacing = spacing_Hz;
    return {static_cast<std::uint32_t>(numSubcarriers), options};
  }

  flightpath::Ranger music;
  flightpath::Ranger likelihood;
};

std::vector<double> delays(const flightpath::PathSet& found) {
  return {found.delays_s().begin(), found.delays_s().end()};
}

void writeTrial(std::ostream& out, const std::vector<SimulatedPath>& paths,
                const std::vector<creal32_T>& samples, Engines& engines) {
  const CSI csi = {spacing_Hz, static_cast<std::uint16_t>(samples.size()), samples.data()};
  out << "{\"phases_rad\": ";
  writeList(out, paths, [](const SimulatedPath& path) { return path.phase_rad; });
  writeAnswer(out, "dense", timed([&] { return MUSIC::estimateToF(csi).TimesOfFlight; }));
  writeAnswer(out, "music", timed([&] { return delays(engines.music.estimate(samples)); }));
  writeAnswer(out, "likelihood",
              timed([&] { return delays(engines.likelihood.estimate(samples)); }));
  out << '}';
}

void writeHeader(std::ostream& out, const Scenario& scenario) {
  out.precision(12);
  out << "{\"name\": \"" << scenario.name << "\", \"N\": " << scenario.numSubcarriers
      << ", \"spacing_Hz\": " << spacing_Hz << ", \"snr_dB\": " << scenario.snr_dB
      << ",\n\"delays_s\": ";
  writeList(out, scenario.paths, [](const SimulatedPath& path) { return path.delay_s; });
  out << ", \"amplitudes\": ";
  writeList(out, scenario.paths, [](const SimulatedPath& path) { return path.amplitude; });
}

void run(const Scenario& scenario, const std::string& folder, int numTrials) {
  std::ofstream json(folder + "/" + scenario.name + ".json");
  std::ofstream vectors(folder + "/" + scenario.name + ".samples", std::ios::binary);
  writeHeader(json, scenario);
  json << ",\n\"trials\": ";
  std::mt19937_64 random(2026);
  std::vector<SimulatedPath> paths = scenario.paths;
  Engines engines(scenario.numSubcarriers);
  JsonList trials(json);
  for (int trial = 0; trial < numTrials; ++trial) {
    drawPhases(paths, random);
    const auto samples = simulateChannel(
        paths, {scenario.numSubcarriers, static_cast<double>(spacing_Hz), scenario.snr_dB}, random);
    vectors.write(reinterpret_cast<const char*>(samples.data()),
                  static_cast<std::streamsize>(samples.size() * sizeof(creal32_T)));
    writeTrial(trials.next() << '\n', paths, samples, engines);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fputs("usage: flightpath_accuracy OUTDIR TRIALS\n", stderr);
    return 1;
  }
  for (const Scenario& scenario : scenarios()) {
    run(scenario, argv[1], std::atoi(argv[2]));
    // Closed after the list of trials is complete.
    std::ofstream(std::string(argv[1]) + "/" + scenario.name + ".json", std::ios::app) << "}\n";
  }
  return 0;
}
