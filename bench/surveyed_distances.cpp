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
#include <cstdio>
#include <exception>
#include <map>
#include <string>
#include <vector>

#include "bench/surveyed_channels.h"

namespace {

using bench::SurveyedChannels;
using FirstPaths_ns = std::vector<double>;

FirstPaths_ns byLineOfSight(const SurveyedChannels& channels) {
  const auto options = bench::surveyedOptions<flightpath::LineOfSightOptions>(channels);
  const auto N = static_cast<std::uint32_t>(channels.magnitudes.size());
  FirstPaths_ns found;
  for (const flightpath::DirectPath& path :
       flightpath::LineOfSight(N, options).estimate({channels.samples, N})) {
    found.push_back(1e9 * path.Delay_s);
  }
  return found;
}

/// The earliest within 15 dB of the strongest.
FirstPaths_ns byLikelihood(const SurveyedChannels& channels) {
  const auto options = bench::surveyedOptions<flightpath::RangingOptions>(channels);
  const auto N = static_cast<std::uint32_t>(channels.magnitudes.size());
  const flightpath::PathSet all = flightpath::Ranger(N, options).estimate({channels.samples, N});
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

void report(const char* method, const FirstPaths_ns& found,
            const std::vector<bench::SurveyedTruth>& truth, double share = 1.0) {
  std::map<std::string, std::vector<double>> errors_m;
  for (std::size_t i = 0; i < truth.size(); ++i) {
    const double error_m = bench::surveyedError_m(truth[i], found[i], share);
    if (std::isfinite(error_m)) {
      errors_m[truth[i].kind].push_back(error_m);
    }
  }
  for (const auto& [kind, errors] : errors_m) {
    print(kind, method, errors);
  }
}

void run(char** paths) {
  const SurveyedChannels channels = bench::readSurveyed(paths[1], paths[2], paths[3]);
  FirstPaths_ns chip;
  for (const bench::SurveyedTruth& row : channels.truths) {
    chip.push_back(row.chipFirstPath_ns);
  }
  std::printf("kind  method         n  error, m: median 90 %%; less its median: 68 %% 90 %%\n");
  report("chip", chip, channels.truths);
  report("likelihood", byLikelihood(channels), channels.truths);
  const FirstPaths_ns direct = byLineOfSight(channels);
  report("LineOfSight", direct, channels.truths);
  report("half of it", direct, channels.truths, 0.5);
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
