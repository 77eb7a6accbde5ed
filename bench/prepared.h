#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <memory>
#include <utility>

#include "bench/measurement.h"

namespace bench {

/// What a benchmark needs before it starts, made once for each size: the framework calls a benchmark
/// several times, and at large N the preparation is an estimate of seconds.
template <class Preparation>
Preparation& prepared(const benchmark::State& state) {
  static std::map<std::pair<int, int>, std::unique_ptr<Preparation>> made;
  const std::pair<int, int> size = {static_cast<int>(state.range(0)),
                                    static_cast<int>(state.range(1))};
  std::unique_ptr<Preparation>& slot = made[size];
  if (slot == nullptr) {
    slot = std::make_unique<Preparation>(toColumn(measurement(size.first, size.second)));
  }
  return *slot;
}

}  // namespace bench
