// Estimates measured channels by both engines and prints, for every measurement, the counts side by
// side and whether the paths agree:
//
//   flightpath_measured FILE.csv...

#include <flightpath/flightpath.h>

#include <cstdio>
#include <exception>
#include <vector>

#include "bench/measurement.h"
#include "bench/same_paths.h"
#include "csi_file.h"

namespace {

ToFResult estimateDense(const std::vector<creal32_T>& samples, double spacing_Hz) {
  const ToFEstimationParameters parameters =
      bench::defaults(static_cast<int>(samples.size()), spacing_Hz);
  MUSICLib estimator;
  ToFResult result;
  estimator.MUSICToF(bench::toColumn(samples), &parameters, &result);
  return result;
}

void compare(const char* path) {
  const CsiFile file = readCsiFile(path);
  flightpath::RangingOptions options;
  options.Method = flightpath::RangingMethod::Music;
  options.SubcarrierSpacing = file.spacing_Hz;
  std::printf("%s: dense/ranger", path);
  for (const std::vector<creal32_T>& samples : file.measurements) {
    const auto N = static_cast<std::uint32_t>(samples.size());
    const flightpath::PathSet ranger = flightpath::Ranger(N, options).estimate(samples);
    const ToFResult dense = estimateDense(samples, file.spacing_Hz);
    const double step_m =
        bench::fineStep_m(static_cast<float>(N), static_cast<float>(file.spacing_Hz));
    const bool sameCount = static_cast<int>(dense.NumSignals) == ranger[0].info().NumSignals;
    std::printf(" %g/%d%s", static_cast<double>(dense.NumSignals), ranger[0].info().NumSignals,
                !sameCount || bench::samePaths(dense, ranger, step_m) ? "" : "(!)");
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
