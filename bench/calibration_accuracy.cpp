// What a calibration leaves of a receiver's ripple, beside the Cramer-Rao bound of that receiver:
//
//   flightpath_calibration TRIALS
//
// 64 tones, 312.5 kHz, one path, its count estimated. The receiver's gain is 1 in the middle and 12 dB
// down at the edges, with ripple in gain and phase besides, and 40 ns of delay. Noise is 20 dB below
// gain 1, in the references as in the measurements. Everything but the response is drawn for each trial;
// of 1000 references, for every hundredth.
//
// found       exactly one path, within 10 ns of the truth
// error       root mean square of the delay, where found
// error/CRB   over the bound of this response, known exactly
// deviation   root mean square of what the Ranger states
// 1, 2, 3     the truth within so many deviations, in per cent, where found
//
// Printed as the table of docs/calibration.md.

#include <flightpath/flightpath.h>

#include <cmath>
#include <complex>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace {

using Complex = std::complex<double>;
using Random = std::mt19937_64;
using flightpath::Calibration;

constexpr int numTones = 64;
constexpr double spacing_Hz = 312500.0;
constexpr double speedOfLight_mps = 299792458.0;
constexpr double twoPi = 6.283185307179586;
constexpr double noisePower = 0.01;
constexpr double cable_m = 3.0;
constexpr double receiverDelay_s = 40e-9;
constexpr double pathDelay_s = 123e-9;

std::vector<Complex> receiverResponse() {
  std::vector<Complex> response;
  for (int k = 0; k < numTones; ++k) {
    const double x = (k - 31.5) / 31.5;
    const double gain_dB = -12.0 * std::pow(x, 4) + 1.5 * std::cos(9.0 * x) - 1.5 * std::cos(9.0);
    const double phase = 0.4 * std::sin(7.0 * x) - twoPi * k * spacing_Hz * receiverDelay_s;
    response.push_back(std::polar(std::pow(10.0, gain_dB / 20.0), phase));
  }
  return response;
}

/// Appends a row: one path through the receiver, in a phase and at a power of its own.
void measure(const std::vector<Complex>& response, double delay_s, Random& random,
             std::vector<Complex>& rows) {
  std::uniform_real_distribution<double> phase(0.0, twoPi);
  std::normal_distribution<double> noise(0.0, std::sqrt(0.5 * noisePower));
  const Complex amplitude = std::polar(1.0, phase(random));
  for (int k = 0; k < numTones; ++k) {
    const double re = noise(random);
    const Complex path = std::polar(1.0, -twoPi * k * spacing_Hz * delay_s);
    rows.push_back(amplitude * response[static_cast<std::size_t>(k)] * path +
                   Complex(re, noise(random)));
  }
}

/// Of the delay, in seconds: noise / (2 (2 pi spacing)^2 times the sum of w (k - mean)^2), w = |r|^2.
double bound_s(const std::vector<Complex>& response) {
  double moments[3] = {};
  for (int k = 0; k < numTones; ++k) {
    const double w = std::norm(response[static_cast<std::size_t>(k)]);
    moments[0] += w;
    moments[1] += w * k;
    moments[2] += w * k * k;
  }
  const double spread = moments[2] - moments[1] * moments[1] / moments[0];
  return std::sqrt(noisePower / (2.0 * spread)) / (twoPi * spacing_Hz);
}

enum class Use { Nothing, Corrections, Everything };

struct Scenario {
  std::string name;
  int references;
  Use use;
};

struct Score {
  int trials = 0;
  int found = 0;
  int within[3] = {};
  double squares_s2 = 0.0;
  double variances_s2 = 0.0;
};

Calibration calibrate(const std::vector<Complex>& response, int references, Random& random) {
  std::vector<Complex> rows;
  for (int i = 0; i < references; ++i) {
    measure(response, cable_m / speedOfLight_mps, random, rows);
  }
  return Calibration::measure({rows, numTones}, spacing_Hz, cable_m);
}

flightpath::PathSet range(const std::vector<Complex>& row, const Calibration& calibration,
                          Use use) {
  flightpath::RangingOptions options;
  options.SubcarrierSpacing = spacing_Hz;
  std::vector<Complex> samples = row;
  if (use == Use::Everything) {
    options.Calibration = calibration;
  } else if (use == Use::Corrections) {
    for (std::size_t k = 0; k < samples.size(); ++k) {
      samples[k] *= calibration.corrections()[k];
    }
  }
  return flightpath::Ranger(numTones, options).estimate(samples);
}

void judge(const flightpath::Estimate& paths, double truth_s, Score& score) {
  ++score.trials;
  if (paths.size() != 1 || std::fabs(paths[0].Delay_s - truth_s) > 10e-9) {
    return;
  }
  ++score.found;
  const double error_s = paths[0].Delay_s - truth_s;
  const double deviation_s = paths[0].Deviation_m / speedOfLight_mps;
  score.squares_s2 += error_s * error_s;
  score.variances_s2 += deviation_s * deviation_s;
  for (int k = 0; k < 3; ++k) {
    score.within[k] += std::fabs(error_s) <= (k + 1) * deviation_s ? 1 : 0;
  }
}

Score run(const Scenario& scenario, const std::vector<Complex>& response, int numTrials) {
  Random random(2027);
  Score score;
  Calibration calibration;
  for (int i = 0; i < numTrials; ++i) {
    if (scenario.references > 0 && (scenario.references < 1000 || i % 100 == 0)) {
      calibration = calibrate(response, scenario.references, random);
    }
    std::vector<Complex> row;
    measure(response, pathDelay_s, random, row);
    const double delay_s = pathDelay_s + (scenario.use == Use::Nothing ? receiverDelay_s : 0.0);
    const flightpath::PathSet found = range(row, calibration, scenario.use);
    judge(found[0], delay_s, score);
  }
  return score;
}

void print(const Scenario& scenario, const Score& score, double bound) {
  if (score.found == 0) {
    std::printf("| %s | 0.0 %% | - | - | - | - | - | - |\n", scenario.name.c_str());
    return;
  }
  const double error_s = std::sqrt(score.squares_s2 / score.found);
  const double deviation_s = std::sqrt(score.variances_s2 / score.found);
  const auto percent = [](int part, int whole) { return 100.0 * part / whole; };
  std::printf("| %s | %.1f %% | %.3f ns | %.2f | %.3f ns | %.1f | %.1f | %.1f |\n",
              scenario.name.c_str(), percent(score.found, score.trials), 1e9 * error_s,
              error_s / bound, 1e9 * deviation_s, percent(score.within[0], score.found),
              percent(score.within[1], score.found), percent(score.within[2], score.found));
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  const int numTrials = argc == 2 ? std::atoi(argv[1]) : 0;
  if (numTrials <= 0) {
    std::fputs("usage: flightpath_calibration TRIALS\n", stderr);
    return 2;
  }
  const std::vector<Complex> response = receiverResponse();
  const double bound = bound_s(response);
  std::printf("bound %.4f ns\n\n", 1e9 * bound);
  std::puts("| references | found | error | error/CRB | deviation | 1 | 2 | 3 |");
  std::puts("|---|---|---|---|---|---|---|---|");
  for (const Scenario& scenario :
       {Scenario{"no calibration", 0, Use::Nothing}, Scenario{"1", 1, Use::Everything},
        Scenario{"4", 4, Use::Everything}, Scenario{"16", 16, Use::Everything},
        Scenario{"1000", 1000, Use::Everything},
        Scenario{"1000, without the weights", 1000, Use::Corrections}}) {
    print(scenario, run(scenario, response, numTrials), bound);
  }
  return 0;
}
