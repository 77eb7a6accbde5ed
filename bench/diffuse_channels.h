#pragma once

#include <complex>
#include <string>
#include <vector>

/// Channels of a direct path, at 100 to 400 ns with a phase drawn for every trial, and of what comes behind it.
///
/// exponential  40 rays, their delays behind the direct path drawn from an exponential distribution, their
///              amplitudes normal
/// cluster      clusters after Saleh and Valenzuela: arrivals with the decay time between them, decaying
///              with it; within a cluster rays ten times as dense that decay with a third of it
/// box          40 rays spread evenly over three decay times
/// late         40 rays around a cluster that begins two decay times later
/// five         five rays alone
/// hidden       a single ray 0.3 cells behind, as strong as K says
/// two tails    a short one and, 10 dB below, one four times as long
/// sparse       two discrete paths 70 and 160 ns behind, 3 and 6 dB below
/// clean        no tail
namespace bench {

constexpr double diffuseSpacing_Hz = 312500.0;

/// K is the direct path's power over that of the tail, SNR the power of both over the noise, per tone.
struct DiffuseScenario {
  std::string name;
  std::string shape;
  int tones;
  double snr_dB;
  double decay_s;
  double K_dB;
};

struct DiffuseTrials {
  std::vector<std::complex<double>> samples;
  std::vector<double> truths_ns;
};

/// The same for the same scenario and count, whatever was drawn before.
DiffuseTrials draw(const DiffuseScenario& scenario, int count);

}  // namespace bench
