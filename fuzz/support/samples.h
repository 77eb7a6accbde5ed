#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <vector>

#include "flightpath/runtime/complex.h"

namespace fuzz {

using Samples = std::vector<creal32_T>;

/// The most samples that a target asks for. The text sets no limit before 61,787, but the time of an
/// estimate grows with the cube; 96 passes the block sizes of the linear algebra (32, 64).
inline constexpr int mostSamples = 96;

/// How many samples: mostly few, which says as much about the rules and takes a hundredth of the time.
int anyLength(FuzzedDataProvider& data);

/// N samples: a channel of a few paths, noise, a constant or any floats, some of them replaced by any
/// floats, all of them scaled by a power of two.
Samples anySamples(FuzzedDataProvider& data, int N);

/// Whether every part is finite and no more than `most` in magnitude.
bool allWithin(const Samples& x, float most);

/// Products of two such samples, and sums of them over any matrix here, stay finite in float.
inline constexpr float moderate = 1e15F;

/// What two estimators of different precision agree on: at most four paths, more than a beam width
/// 1 / (0.75 N) apart and clear of the ends of the period, 20 dB over the noise.
struct BenignChannel {
  Samples samples;
  int numPaths;
};

/// 4 to 32 samples: the model takes the time of hundreds of estimates beyond.
BenignChannel benignChannel(FuzzedDataProvider& data);

}  // namespace fuzz
