// One channel seen in two ways, point by point: the inverse Fourier transform, in which paths closer
// than one over the bandwidth melt into a hump, and the MUSIC pseudo-spectrum of the same samples.
// Prints a table for plotting; scripts/picture draws docs/pseudo-spectrum.svg from it.

#include <flightpath/flightpath.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <exception>
#include <random>
#include <vector>

#include "simulated_channel.h"

namespace {

constexpr int numSubcarriers = 64;
constexpr double spacing_Hz = 312500.0;
constexpr double speedOfLight_mps = 299792458.0;

coder::array<float, 2> distanceGrid(float first_m, float step_m, int count) {
  coder::array<float, 2> grid;
  grid.set_size(1, count);
  for (int j = 0; j < count; ++j) {
    grid[j] = first_m + step_m * static_cast<float>(j);
  }
  return grid;
}

/// The pseudo-spectrum on a grid of the caller's, in decibels.
ToFResult scan(const std::vector<creal32_T>& samples, const coder::array<float, 2>& grid_m) {
  const coder::array<float, 2> absent;
  ToFEstimationParameters parameters;
  parameters.init(numSubcarriers, static_cast<float>(spacing_Hz), grid_m, absent,
                  /*forceClassic=*/1, /*optPhaseSlopeForOneSignalCase=*/1,
                  /*measurementContinual=*/1, absent, absent);
  coder::array<creal32_T, 1> x;
  x.set_size(numSubcarriers);
  std::copy(samples.begin(), samples.end(), x.data);
  MUSICLib estimator;
  ToFResult result;
  estimator.MUSICToF(x, &parameters, &result);
  return result;
}

/// |h(d)| of the inverse Fourier transform at one distance, in decibels.
double impulseResponse_dB(const std::vector<creal32_T>& samples, double distance_m) {
  const double step_rad = 2.0 * 3.141592653589793 * spacing_Hz * distance_m / speedOfLight_mps;
  std::complex<double> sum;
  for (int k = 0; k < numSubcarriers; ++k) {
    const creal32_T z = samples[static_cast<std::size_t>(k)];
    sum += std::complex<double>(z.re, z.im) * std::polar(1.0, step_rad * k);
  }
  return 20.0 * std::log10(std::abs(sum) / numSubcarriers);
}

void printTable() {
  const std::vector<SimulatedPath> paths = {
      {40e-9, 1.0, 0.0}, {80e-9, 0.8, 1.2}, {150e-9, 0.5, 4.0}};
  std::mt19937_64 random(1);
  const auto samples = simulateChannel(paths, {numSubcarriers, spacing_Hz, 30.0}, random);

  for (const SimulatedPath& path : paths) {
    std::printf("# true %.3f\n", path.delay_s * speedOfLight_mps);
  }
  flightpath::RangingOptions options;
  options.Method = flightpath::RangingMethod::Music;
  options.SubcarrierSpacing = spacing_Hz;
  const flightpath::PathSet found = flightpath::Ranger(numSubcarriers, options).estimate(samples);
  for (const flightpath::Path path : found[0]) {
    std::printf("# found %.3f\n", path.Distance_m);
  }

  const coder::array<float, 2> grid_m = distanceGrid(0.0F, 0.05F, 1401);
  const ToFResult scanned = scan(samples, grid_m);
  std::printf("distance_m,pseudo_spectrum_dB,impulse_response_dB\n");
  for (int j = 0; j < grid_m.numel; ++j) {
    const auto distance_m = static_cast<double>(grid_m[j]);
    std::printf("%.2f,%.3f,%.3f\n", distance_m, static_cast<double>(scanned.PseudoSpectrum[j]),
                impulseResponse_dB(samples, distance_m));
  }
}

}  // namespace

int main() {
  try {
    printTable();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "pseudo_spectrum: %s\n", error.what());
    return 1;
  }
  return 0;
}
