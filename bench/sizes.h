#pragma once

#include <benchmark/benchmark.h>

namespace bench {

/// Receivers from a 10 MHz one to 160 MHz ones, with one path and with three.
inline void allSizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"N", "paths"});
  for (const int paths : {1, 3}) {
    for (const int N : {30, 56, 64, 114, 242, 498, 996, 1992}) {
      benchmark->Args({N, paths});
    }
  }
  benchmark->Unit(benchmark::kMicrosecond);
}

}  // namespace bench
