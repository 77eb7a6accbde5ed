#pragma once

#include <cstddef>

namespace flightpath {

/// The parts of a row of samples.
struct SampleParts {
  const double* re;
  const double* im;
};

/// out(i) += a(i) conj(a(i + offset)) + b(i) conj(b(i + offset)) for i < n
///
/// Two rows at a time: half the passes over the sums. `out` overlaps no sample.
using LaggedProducts = void (*)(SampleParts a, SampleParts b, std::size_t offset, std::size_t n,
                                double* outRe, double* outIm);

/// For any machine of the architecture.
void addLaggedProducts(SampleParts a, SampleParts b, std::size_t offset, std::size_t n,
                       double* outRe, double* outIm);

/// The fastest that this machine has; the same bits as the one above, since each sum keeps its order.
/// On 32 rows of 256 samples half of an estimate's time goes by here, and four doubles per register
/// instead of two take it in two thirds of the time (bench/tuning_bench.cpp, LaggedProducts).
LaggedProducts fastestLaggedProducts();

}  // namespace flightpath
