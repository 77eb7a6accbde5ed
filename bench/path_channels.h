#pragma once

#include <complex>
#include <functional>
#include <random>
#include <string>
#include <vector>

/// Channels of a few discrete paths, on contiguous tones and on tones with gaps.
namespace bench {

using Random = std::mt19937_64;
using Tones = std::vector<int>;

constexpr double pathSpacing_Hz = 312500.0;

/// SNR is that of the strongest path, per tone.
struct PathScenario {
  std::string name;
  std::function<Tones(Random&)> tones;
  bool tonesAreDrawn;
  std::vector<double> delays_s;
  std::vector<double> amplitudes;
  double snr_dB;
  int snapshots = 1;
  double window = 1.0;  // of the unambiguous range, from zero on
};

std::vector<PathScenario> pathScenarios();

/// The samples of one trial without noise, one row after the other; phases are drawn for each row.
std::vector<std::complex<double>> drawRows(const PathScenario& scenario, const Tones& tones,
                                           Random& random);

}  // namespace bench
