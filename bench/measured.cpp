// Estimates measured channels by both engines and prints, for every measurement, the counts side by
// side and whether the paths agree:
//
//   flightpath_measured FILE.csv...

#include <flightpath/flightpath.h>

#include <cmath>
#include <cstdio>
#include <exception>
#include <vector>

#include "csi_file.h"

namespace {

constexpr double speedOfLight_mps = 299792458.0;

coder::array<creal32_T, 1> toColumn(const std::vector<creal32_T>& samples) {
  coder::array<creal32_T, 1> column;
  column.set_size(static_cast<std::int32_t>(samples.size()));
  std::copy(samples.begin(), samples.end(), column.begin());
  return column;
}

ToFResult estimateDense(const std::vector<creal32_T>& samples, double spacing_Hz) {
  const coder::array<float, 2> absent;
  ToFEstimationParameters parameters;
  parameters.init(static_cast<float>(samples.size()), static_cast<float>(spacing_Hz), absent,
                  absent, 0, 1, 1, absent, absent);
  MUSICLib estimator;
  ToFResult result;
  estimator.MUSICToF(toColumn(samples), &parameters, &result);
  return result;
}

/// As many paths, and each within 1.01 fine step.
bool samePaths(const ToFResult& dense, const flightpath::PathSet& ranger, double step_m) {
  if (static_cast<std::size_t>(dense.Distances.numel) != ranger.Distances.size()) {
    return false;
  }
  for (int k = 0; k < dense.Distances.numel; ++k) {
    const double other = ranger.Distances[static_cast<std::size_t>(k)];
    if (std::fabs(static_cast<double>(dense.Distances[k]) - other) > 1.01 * step_m) {
      return false;
    }
  }
  return true;
}

void compare(const char* path) {
  const CsiFile file = readCsiFile(path);
  flightpath::RangingOptions options;
  options.SubcarrierSpacing = file.spacing_Hz;
  std::printf("%s: dense/ranger", path);
  for (const std::vector<creal32_T>& samples : file.measurements) {
    const auto N = static_cast<std::uint32_t>(samples.size());
    const flightpath::PathSet ranger = flightpath::Ranger(N, options).estimate(samples.data(), 1);
    const ToFResult dense = estimateDense(samples, file.spacing_Hz);
    const double step_m = speedOfLight_mps / (N * static_cast<double>(file.spacing_Hz)) / 1500.0;
    const bool sameCount = dense.NumSignals == ranger.NumSignals[0];
    std::printf(" %g/%g%s", static_cast<double>(dense.NumSignals),
                static_cast<double>(ranger.NumSignals[0]),
                !sameCount || samePaths(dense, ranger, step_m) ? "" : "(!)");
  }
  std::printf("\n");
}

}  // namespace

int main(int argc, char** argv) {
  MUSIC::estimateToF({});  // sets BLAS to one thread
  try {
    for (int i = 1; i < argc; ++i) {
      compare(argv[i]);
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "flightpath_measured: %s\n", error.what());
    return 1;
  }
  return 0;
}
