#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <complex>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "flightpath/ranging/ranging_options.h"

namespace fuzz {

using flightpath::RangingOptions;
using Row = std::vector<std::complex<double>>;

/// Settings of a Ranger by maximum likelihood. What may be refused is so in one input of a few.
RangingOptions anyLikelihoodOptions(FuzzedDataProvider& data, std::uint32_t N);

/// Whether the header lets such a Ranger be made.
bool isAllowedLikelihood(const RangingOptions& options, std::uint32_t N);

/// Whether the header takes these tones, and these weights.
bool areTones(const RangingOptions& options, std::uint32_t N);
bool areWeights(const RangingOptions& options, std::uint32_t N);

/// Where the tones lie: the options' own, or 0 ... N - 1, which are increasing.
///
/// stride     the greatest common divisor of their distances
/// positions  the distances from the first, in strides
struct Tones {
  std::int64_t stride = 1;
  std::vector<std::int64_t> positions;

  /// From the first to the last, both included, in strides.
  std::int64_t extent() const { return positions.back() + 1; }
};

Tones tonesOf(const RangingOptions& options, std::uint32_t N);

/// The weights, or all 1, times the power of two that brings the largest to within 1 ... 2.
std::vector<double> scaledWeights(const RangingOptions& options, std::uint32_t N);

/// One sample per tone: paths over these tones with noise, or any numbers; some replaced by any
/// doubles, all scaled by a power of two.
Row anyRow(FuzzedDataProvider& data, const RangingOptions& options, std::uint32_t N);

/// Paths two cells apart or more, 20 dB over the noise, over all tones 0 ... N - 1 or all but a few:
/// where the lowest minimum is not in question.
///
/// frequencies  of the paths that were drawn, per index
struct ClearChannel {
  RangingOptions options;
  std::uint32_t N = 0;
  std::vector<Row> rows;
  std::vector<double> frequencies;
};

ClearChannel clearChannel(FuzzedDataProvider& data);

}  // namespace fuzz
