// Prints the memory that one estimate of N subcarriers adds to a process that has made a small one:
//
//   flightpath_peak_memory N

#include <flightpath/flightpath.h>
#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>

#include "measurement.h"

namespace {

double peakResident_MB() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) * 1024e-6;
}

void estimate(int numSubcarriers) {
  const auto samples = bench::measurement(numSubcarriers, 3);
  MUSIC::estimateToF(
      {bench::spacing_Hz, static_cast<std::uint16_t>(numSubcarriers), samples.data()});
}

}  // namespace

int main(int argc, char** argv) {
  const int N = argc == 2 ? std::atoi(argv[1]) : 0;
  if (N < 1 || N > 65535) {
    std::fputs("usage: flightpath_peak_memory N\n", stderr);
    return 1;
  }
  estimate(16);  // libraries loaded, their own buffers taken
  const double before = peakResident_MB();
  estimate(N);
  std::printf("{\"N\": %d, \"before_MB\": %.2f, \"added_MB\": %.2f}\n", N, before,
              peakResident_MB() - before);
  return 0;
}
