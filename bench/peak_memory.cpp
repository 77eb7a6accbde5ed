// Prints the memory that one estimate of N subcarriers adds to a process that has made a small one:
//
//   flightpath_peak_memory N dense|ranger

#include <flightpath/flightpath.h>
#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench/measurement.h"

namespace {

double peakResident_MB() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) * 1024e-6;
}

void estimateDense(int numSubcarriers) {
  const auto samples = bench::measurement(numSubcarriers, 3);
  MUSIC::estimateToF(
      {bench::spacing_Hz, static_cast<std::uint16_t>(numSubcarriers), samples.data()});
}

void estimateStructured(int numSubcarriers) {
  const auto samples = bench::measurement(numSubcarriers, 3);
  flightpath::RangingOptions options;
  options.Method = flightpath::RangingMethod::Music;
  options.SubcarrierSpacing = bench::spacing_Hz;
  flightpath::Ranger(static_cast<std::uint32_t>(numSubcarriers), options).estimate(samples);
}

}  // namespace

int main(int argc, char** argv) {
  const int N = argc == 3 ? std::atoi(argv[1]) : 0;
  const std::string engine = argc == 3 ? argv[2] : "";
  if (N < 1 || N > 65535 || (engine != "dense" && engine != "ranger")) {
    std::fputs("usage: flightpath_peak_memory N dense|ranger\n", stderr);
    return 1;
  }
  const auto estimate = engine == "dense" ? estimateDense : estimateStructured;
  estimate(16);  // libraries loaded, their own buffers taken
  const double before = peakResident_MB();
  estimate(N);
  std::printf("{\"N\": %d, \"before_MB\": %.2f, \"added_MB\": %.2f}\n", N, before,
              peakResident_MB() - before);
  return 0;
}
