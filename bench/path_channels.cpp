#include "bench/path_channels.h"

#include <algorithm>
#include <cstddef>
#include <numbers>
#include <numeric>
#include <utility>

namespace bench {
namespace {

constexpr double twoPi = 2.0 * std::numbers::pi;

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

void addContiguous(std::vector<PathScenario>& all) {
  const auto t64 = always(range(0, 63));
  const auto t242 = always(range(0, 241));
  const double cell64_s = 1.0 / (64 * pathSpacing_Hz);
  const double cell242_s = 1.0 / (242 * pathSpacing_Hz);
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

void addGaps(std::vector<PathScenario>& all) {
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
        PathScenario s = {std::string(set.name) + ", " + name + (bulk_s > 0 ? " + 1 us" : ""),
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

}  // namespace

std::vector<PathScenario> pathScenarios() {
  std::vector<PathScenario> all;
  addContiguous(all);
  addGaps(all);
  return all;
}

std::vector<std::complex<double>> drawRows(const PathScenario& scenario, const Tones& tones,
                                           Random& random) {
  std::uniform_real_distribution<double> phase(0.0, twoPi);
  std::vector<std::complex<double>> clean;
  for (int row = 0; row < scenario.snapshots; ++row) {
    std::vector<std::complex<double>> x;
    for (const double a : scenario.amplitudes) {
      x.push_back(std::polar(a, phase(random)));
    }
    for (const int t : tones) {
      std::complex<double> sum;
      for (std::size_t p = 0; p < x.size(); ++p) {
        sum += x[p] * std::polar(1.0, -twoPi * t * pathSpacing_Hz * scenario.delays_s[p]);
      }
      clean.push_back(sum);
    }
  }
  return clean;
}

}  // namespace bench
