// First paths of ultra-wide-band impulse responses, whose distances were surveyed, beside those of the chip
// that measured them:
//
//   flightpath_surveyed uwb_ranging.csv uwb_ranging_truth.csv uwb_ranging_pulse.csv
//
// The chip's two-way range counts from the first path that it saw itself: range + c (first path - the
// chip's), or half of that difference, where only one of the two ways was seen. Columns: the kind of place (line of sight, obstructed, direct path missing); the method;
// median and 90 % of the error's size in m; and of the error's deviation from its own median, which is
// what a constant offset of the antennas leaves.

#include <flightpath/flightpath.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <exception>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "csi_file.h"

namespace {

constexpr double speedOfLight_mpns = 0.299792458;

using Samples = std::vector<std::complex<double>>;

struct Truth {
  std::string kind;
  double distance_m;
  double chipRange_m;
  double chipFirstPath_ns;
};

std::vector<std::vector<std::string>> table(const char* path) {
  std::ifstream file(path);
  std::vector<std::vector<std::string>> rows;
  std::string line;
  std::getline(file, line);  // its header
  while (std::getline(file, line)) {
    std::istringstream fields(line);
    std::vector<std::string> row;
    for (std::string field; std::getline(fields, field, ',');) {
      row.push_back(field);
    }
    rows.push_back(row);
  }
  if (rows.empty()) {
    throw std::runtime_error(std::string(path) + ": no rows");
  }
  return rows;
}

std::vector<Truth> truths(const char* path) {
  std::vector<Truth> all;
  for (const auto& row : table(path)) {
    all.push_back({row.at(2), std::stod(row.at(3)), std::stod(row.at(4)), std::stod(row.at(5))});
  }
  return all;
}

std::vector<double> pulse(const char* path) {
  std::vector<double> magnitudes;
  for (const auto& row : table(path)) {
    magnitudes.push_back(std::stod(row.at(1)));
  }
  return magnitudes;
}

/// Noise of tones that are divided by the pulse grows with one over its square.
template <class Options>
Options optionsFor(const CsiFile& file, const std::vector<double>& magnitudes) {
  Options options;
  options.SubcarrierSpacing = file.spacing_Hz;
  for (const double magnitude : magnitudes) {
    options.Weights.push_back(magnitude * magnitude);
  }
  return options;
}

using FirstPaths_ns = std::vector<double>;

FirstPaths_ns byLineOfSight(const CsiFile& file, const Samples& samples,
                            const std::vector<double>& magnitudes) {
  const auto options = optionsFor<flightpath::LineOfSightOptions>(file, magnitudes);
  const auto N = static_cast<std::uint32_t>(magnitudes.size());
  FirstPaths_ns found;
  for (const flightpath::DirectPath& path :
       flightpath::LineOfSight(N, options).estimate({samples, N})) {
    found.push_back(1e9 * path.Delay_s);
  }
  return found;
}

/// The earliest within 15 dB of the strongest.
FirstPaths_ns byLikelihood(const CsiFile& file, const Samples& samples,
                           const std::vector<double>& magnitudes) {
  const auto options = optionsFor<flightpath::RangingOptions>(file, magnitudes);
  const auto N = static_cast<std::uint32_t>(magnitudes.size());
  const flightpath::PathSet all = flightpath::Ranger(N, options).estimate({samples, N});
  FirstPaths_ns found;
  for (const flightpath::Estimate estimate : all) {
    float strongest = -INFINITY;
    for (const flightpath::Path path : estimate) {
      strongest = std::max(strongest, path.Peak_dB);
    }
    double earliest = NAN;
    for (const flightpath::Path path : estimate) {
      if (std::isnan(earliest) && path.Peak_dB > strongest - 15.0F) {
        earliest = 1e9 * path.Delay_s;
      }
    }
    found.push_back(earliest);
  }
  return found;
}

double quantile(std::vector<double> values, double share) {
  const auto at = static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1) + 0.5);
  std::nth_element(values.begin(), values.begin() + at, values.end());
  return values[static_cast<std::size_t>(at)];
}

std::vector<double> sizes(std::vector<double> values, double origin) {
  for (double& value : values) {
    value = std::fabs(value - origin);
  }
  return values;
}

void print(const std::string& kind, const char* method, const std::vector<double>& errors_m) {
  const double median = quantile(errors_m, 0.5);
  std::printf("%-4s  %-12s %3zu  %.2f %.2f  %.2f %.2f\n", kind.c_str(), method, errors_m.size(),
              quantile(sizes(errors_m, 0.0), 0.5), quantile(sizes(errors_m, 0.0), 0.9),
              quantile(sizes(errors_m, median), 0.68), quantile(sizes(errors_m, median), 0.9));
}

void report(const char* method, const FirstPaths_ns& found, const std::vector<Truth>& truth,
            double share = 1.0) {
  std::map<std::string, std::vector<double>> errors_m;
  for (std::size_t i = 0; i < truth.size(); ++i) {
    const double shift_m = share * speedOfLight_mpns * (found[i] - truth[i].chipFirstPath_ns);
    if (std::isfinite(shift_m)) {
      errors_m[truth[i].kind].push_back(truth[i].chipRange_m + shift_m - truth[i].distance_m);
    }
  }
  for (const auto& [kind, errors] : errors_m) {
    print(kind, method, errors);
  }
}

void run(char** paths) {
  const CsiFile file = readCsiFile(paths[1]);
  const std::vector<Truth> truth = truths(paths[2]);
  const std::vector<double> magnitudes = pulse(paths[3]);
  Samples samples;
  for (const auto& row : file.measurements) {
    for (std::size_t k = 0; k < magnitudes.size(); ++k) {
      samples.push_back(std::complex<double>(row.at(k).re, row.at(k).im) / magnitudes[k]);
    }
  }
  FirstPaths_ns chip;
  for (const Truth& row : truth) {
    chip.push_back(row.chipFirstPath_ns);
  }
  std::printf("kind  method         n  error, m: median 90 %%; less its median: 68 %% 90 %%\n");
  report("chip", chip, truth);
  report("likelihood", byLikelihood(file, samples, magnitudes), truth);
  const FirstPaths_ns direct = byLineOfSight(file, samples, magnitudes);
  report("LineOfSight", direct, truth);
  report("half of it", direct, truth, 0.5);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "flightpath_surveyed MEASUREMENTS.csv TRUTH.csv PULSE.csv\n");
    return 2;
  }
  try {
    run(argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
