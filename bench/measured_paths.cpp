// Estimates measured channels by both methods of the Ranger, for the page about trust:
//
//   flightpath_measured_paths FILE.csv...
//
// One line per path: file,row,method,delay_ns,deviation_ns,structure,power_dB; of a measurement without a path, one
// line without a delay. The methods are music, likelihood, and tolerant, which is likelihood with a
// model error of -25 dB. The rows a/b are quotients: row a over row b, with one path forced.

#include <flightpath/flightpath.h>

#include <complex>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "csi_file.h"

namespace {

using flightpath::RangingOptions;
using Samples = std::vector<std::complex<double>>;

struct Method {
  const char* name;
  RangingOptions options;
};

std::vector<Method> methods(double spacing_Hz) {
  RangingOptions music;
  music.Method = flightpath::RangingMethod::Music;
  music.SubcarrierSpacing = spacing_Hz;
  RangingOptions likelihood;
  likelihood.SubcarrierSpacing = spacing_Hz;
  RangingOptions tolerant = likelihood;
  tolerant.ModelError = -25.0;
  return {{"music", music}, {"likelihood", likelihood}, {"tolerant", tolerant}};
}

void print(const std::string& row, const char* method, const flightpath::Estimate& estimate) {
  for (const flightpath::Path path : estimate) {
    std::printf("%s,%s,%.5f,%.5f,%.3g,%.2f\n", row.c_str(), method, 1e9 * path.Delay_s,
                1e9 * path.Deviation_m / 299792458.0, estimate.info().ResidualStructure,
                static_cast<double>(path.Peak_dB));
  }
  if (estimate.empty()) {
    std::printf("%s,%s,,,%.3g,\n", row.c_str(), method, estimate.info().ResidualStructure);
  }
}

void estimate(const std::string& row, const Samples& samples, double spacing_Hz,
              std::optional<std::uint32_t> numPaths = {}) {
  for (Method method : methods(spacing_Hz)) {
    method.options.NumPaths = numPaths;
    flightpath::Ranger ranger(static_cast<std::uint32_t>(samples.size()), method.options);
    const flightpath::PathSet found = ranger.estimate(samples);
    print(row, method.name, found[0]);
  }
}

Samples toDouble(const std::vector<creal32_T>& samples) {
  Samples all;
  for (const creal32_T z : samples) {
    all.emplace_back(static_cast<double>(z.re), static_cast<double>(z.im));
  }
  return all;
}

/// The longer line of a pair over the shorter one: connectors cancel.
void estimatePairs(const std::string& name, const CsiFile& file) {
  for (std::size_t i = 0; i + 1 < 6; i += 2) {
    Samples quotient = toDouble(file.measurements[i + 1]);
    const Samples shorter = toDouble(file.measurements[i]);
    for (std::size_t k = 0; k < quotient.size(); ++k) {
      quotient[k] /= shorter[k];
    }
    estimate(name + "," + std::to_string(i + 2) + "/" + std::to_string(i + 1), quotient,
             file.spacing_Hz, 1);
  }
}

void estimateFile(const char* path) {
  const CsiFile file = readCsiFile(path);
  const std::string name = std::filesystem::path(path).filename().string();
  for (std::size_t i = 0; i < file.measurements.size(); ++i) {
    estimate(name + "," + std::to_string(i + 1), toDouble(file.measurements[i]), file.spacing_Hz);
  }
  if (name == "boards_s21.csv") {
    estimatePairs(name, file);
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    std::puts("file,row,method,delay_ns,deviation_ns,structure,power_dB");
    for (int i = 1; i < argc; ++i) {
      estimateFile(argv[i]);
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "flightpath_measured_paths: %s\n", error.what());
    return 1;
  }
  return 0;
}
