#include <benchmark/benchmark.h>

#include "flightpath/toolbox/detail/blas.h"

/// Everything on one thread, as the entry point has it.
int main(int argc, char** argv) {
  flightpath::blas::useOneThread();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 1;
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
}
