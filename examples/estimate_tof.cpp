// Distances of the propagation paths in measured channels, or in a simulated one.
//
//   estimate_tof                       a simulated channel of three known paths, by flightpath::Ranger
//   estimate_tof FILE.csv [--paths N]  every measurement of a file by MUSIC::estimateToF, N paths each or
//                                      as many as found

#include <flightpath/flightpath.h>

#include <cmath>
#include <cstdio>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "command_line.h"
#include "csi_file.h"
#include "simulated_channel.h"

namespace {

constexpr double nanosecond = 1e-9;
constexpr double speedOfLight_mps = 299792458.0;

struct Options {
  bool help = false;
  std::optional<std::string> file;
  std::optional<unsigned char> numPaths;
};

void printUsage(std::FILE* out) {
  std::fputs(
      "usage: estimate_tof                       a simulated channel of three known paths\n"
      "       estimate_tof FILE.csv [--paths N]  the measurements of a file; N (0 to 255) paths\n"
      "                                          each instead of an estimated number\n",
      out);
}

/// The command line, or nothing where it cannot be used.
std::optional<Options> parseOptions(int argc, char** argv) {
  static const option known[] = {
      {"paths", required_argument, nullptr, 'p'}, {"help", no_argument, nullptr, 'h'}, {}};
  Options options;
  for (int c = 0; (c = getopt_long(argc, argv, "h", known, nullptr)) != -1;) {
    if (c == 'h') {
      options.help = true;
      return options;
    }
    if (c != 'p') {
      return {};
    }
    options.numPaths = numberIn<unsigned char>(optarg);
    if (!options.numPaths) {
      std::fprintf(stderr, "--paths: \"%s\" is not a whole number from 0 to 255\n", optarg);
      return {};
    }
  }
  if (optind < argc) {
    options.file = argv[optind++];
  }
  if (optind < argc || (options.numPaths && !options.file)) {
    return {};
  }
  return options;
}

CSI toCSI(const std::vector<creal32_T>& samples, std::uint32_t spacing_Hz) {
  return {spacing_Hz, static_cast<std::uint16_t>(samples.size()), samples.data()};
}

void estimateFile(const std::string& path, std::optional<unsigned char> numPaths) {
  const CsiFile file = readCsiFile(path);
  std::printf("# %s: %zu measurements, subcarriers %u Hz apart\n", path.c_str(),
              file.measurements.size(), file.spacing_Hz);
  std::printf("# measurement  path  delay [ns]  distance [m]\n");
  for (std::size_t i = 0; i < file.measurements.size(); ++i) {
    const ToFEstimate paths =
        MUSIC::estimateToF(toCSI(file.measurements[i], file.spacing_Hz), numPaths);
    for (std::size_t k = 0; k < paths.Distances.size(); ++k) {
      std::printf("%13zu  %4zu  %10.4f  %12.4f\n", i + 1, k + 1,
                  paths.TimesOfFlight[k] / nanosecond, paths.Distances[k]);
    }
    if (paths.Distances.empty()) {
      std::printf("# measurement %zu: no path found\n", i + 1);
    }
  }
}

/// A 20 MHz receiver with 64 subcarriers, 30 dB over the noise: by the Ranger, with deviations.
void estimateSimulated() {
  constexpr double spacing_Hz = 312500.0;
  const std::vector<SimulatedPath> paths = {
      {40e-9, 1.0, 0.3}, {110e-9, 0.7, 1.9}, {200e-9, 0.5, -2.2}};
  std::mt19937_64 random(1);
  const std::vector<creal32_T> samples = simulateChannel(paths, {64, spacing_Hz, 30.0}, random);
  flightpath::RangingOptions options;
  options.SubcarrierSpacing = spacing_Hz;
  flightpath::Ranger ranger(64, options);
  const flightpath::PathSet found = ranger.estimate(samples);

  std::printf("simulated channel: 64 subcarriers %g Hz apart, %zu paths, 30 dB; found %zu paths\n",
              spacing_Hz, paths.size(), found[0].size());
  std::printf("path  true [m]  found [m]  deviation [m]  over noise [dB]\n");
  for (std::size_t k = 0; k < found[0].size(); ++k) {
    const flightpath::Path path = found[0][k];
    const double true_m = k < paths.size() ? paths[k].delay_s * speedOfLight_mps : NAN;
    std::printf("%4zu  %8.3f  %9.3f  %13.3f  %15.1f\n", k + 1, true_m, path.Distance_m,
                path.Deviation_m, path.SNR_dB);
  }
}

void run(const Options& options) {
  if (options.file) {
    estimateFile(*options.file, options.numPaths);
  } else {
    estimateSimulated();
  }
}

}  // namespace

int main(int argc, char** argv) {
  return answer("estimate_tof", parseOptions(argc, argv), printUsage, run);
}
