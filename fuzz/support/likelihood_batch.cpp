#include "fuzz/support/likelihood_batch.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <optional>
#include <random>

#include "fuzz/support/any_float.h"
#include "fuzz/support/ranger_batch.h"
#include "fuzz/support/samples.h"
#include "tests/support/slow_likelihood.h"
#include "tests/support/tones.h"

namespace fuzz {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double speedOfLight_mps = 299792458.0;

/// One input of eight has this.
bool rarely(FuzzedDataProvider& data) { return data.ConsumeIntegralInRange(0, 7) == 7; }

/// From `first` on, each `step` and up to `mostMore` further than the one before it, as long as
/// there are such integers: fewer than N then, which is refused.
std::vector<int> risingTones(FuzzedDataProvider& data, std::uint32_t N, std::int64_t first,
                             std::int64_t step, int mostMore) {
  std::vector<int> tones;
  for (std::int64_t t = first; tones.size() < N && t <= std::numeric_limits<int>::max();
       t += step * (1 + data.ConsumeIntegralInRange(0, mostMore))) {
    tones.push_back(static_cast<int>(t));
  }
  return tones;
}

std::int64_t anyOrigin(FuzzedDataProvider& data) {
  return rarely(data) ? data.ConsumeIntegral<std::int32_t>() : data.ConsumeIntegralInRange(-64, 64);
}

std::vector<int> anyTones(FuzzedDataProvider& data, std::uint32_t N) {
  switch (data.ConsumeIntegralInRange(0, 5)) {
    case 0:
      return {};
    case 1:
      return risingTones(data, N, anyOrigin(data), data.ConsumeIntegralInRange(1, 5), 0);
    case 2:
      return risingTones(data, N, anyOrigin(data), 1, 3);
    case 3:  // strides up to where two tones lie too far apart
      return risingTones(data, N, anyOrigin(data),
                         std::int64_t{1} << data.ConsumeIntegralInRange(0, 32), 1);
    default: {  // two blocks
      std::vector<int> tones = risingTones(data, (N + 1) / 2, 0, 1, 0);
      // Beyond what is taken; or nearer, as each path is tried at all places that look alike.
      const std::int64_t gap =
          rarely(data) ? std::int64_t{1} << 20
                       : data.ConsumeIntegralInRange<std::int64_t>(1, 16 * std::int64_t{N});
      const std::vector<int> more = risingTones(data, N / 2, tones.back() + gap, 1, 0);
      return support::joined(std::move(tones), more);
    }
  }
}

/// Out of order, repeated, or a tone too few or too many.
void spoilTones(FuzzedDataProvider& data, std::vector<int>& tones) {
  if (tones.empty()) {
    return;
  }
  const auto at = data.ConsumeIntegralInRange<std::size_t>(0, tones.size() - 1);
  switch (data.ConsumeIntegralInRange(0, 2)) {
    case 0:
      tones[at] = data.ConsumeIntegralInRange(-64, 64);
      break;
    case 1:
      tones.pop_back();
      break;
    default:
      tones.push_back(tones[at]);
  }
}

std::vector<double> anyWeights(FuzzedDataProvider& data, std::uint32_t N) {
  std::vector<double> weights(N);
  const bool isAnything = rarely(data);
  for (double& weight : weights) {
    weight = isAnything ? std::fabs(anyDouble(data))
                        : std::ldexp(data.ConsumeIntegralInRange(1, 255), -4);
  }
  if (rarely(data)) {
    weights[data.ConsumeIntegralInRange<std::size_t>(0, N - 1)] = anyDouble(data);
  }
  if (rarely(data)) {
    weights.resize(data.ConsumeIntegralInRange<std::size_t>(0, 2 * N));
  }
  return weights;
}

/// Mostly within (0, 1).
double anyProbability(FuzzedDataProvider& data) {
  switch (data.ConsumeIntegralInRange(0, 7)) {
    case 0:
      return anyDouble(data);
    case 1:
      return std::ldexp(1.0, -data.ConsumeIntegralInRange(0, 1075));
    case 2:
      return 1.0 - std::ldexp(1.0, -data.ConsumeIntegralInRange(0, 54));
    default:
      return data.ConsumeIntegralInRange(1, 999) * 1e-3;
  }
}

/// Mostly a distance of up to some periods.
double anyDistance(FuzzedDataProvider& data) {
  return rarely(data) ? anyDouble(data) : 0.5 * data.ConsumeIntegral<std::int16_t>() / 4.0;
}

/// A window of any width, from a part of a cell on.
void chooseWindow(FuzzedDataProvider& data, RangingOptions& options) {
  const int kind = data.ConsumeIntegralInRange(0, 4);
  if (kind == 0 || kind == 1) {
    options.EarliestDistance = anyDistance(data);
  }
  if (kind == 0 || kind == 2) {
    options.LatestDistance = anyDistance(data);
  }
  if (kind == 3) {
    options.EarliestDistance = anyDistance(data);
    options.LatestDistance =
        *options.EarliestDistance + std::ldexp(1.0, data.ConsumeIntegralInRange(-8, 10));
  }
}

/// Time grows with the cube of a forced count.
std::optional<std::uint32_t> anyForcedCount(FuzzedDataProvider& data, std::uint32_t N) {
  constexpr std::uint32_t few = 24;
  switch (data.ConsumeIntegralInRange(0, 3)) {
    case 0:
      return data.ConsumeIntegralInRange(0U, 6U);
    case 1:
      return N > few ? data.ConsumeIntegralInRange(0U, 16U) : data.ConsumeIntegral<std::uint32_t>();
    default:
      return {};
  }
}

/// Paths anywhere in the period, as many as not, over white noise.
Row drawn(FuzzedDataProvider& data, const RangingOptions& options, std::uint32_t N) {
  const Tones tones = tonesOf(options, N);
  std::mt19937_64 random(data.ConsumeIntegral<std::uint16_t>());
  std::uniform_real_distribution<double> frequency(-0.5, 0.5);
  std::vector<double> f(data.ConsumeIntegralInRange<std::size_t>(0, 5));
  std::ranges::generate(f, [&] { return frequency(random); });
  const std::vector<double> amplitudes(f.size(), 1.0);
  const double noisePower = std::pow(10.0, -0.1 * data.ConsumeIntegralInRange(-10, 120));
  const std::vector<int> positions(tones.positions.begin(), tones.positions.end());
  return support::drawChannel(positions, {}, f, amplitudes, noisePower, 1, random).rows[0];
}

/// The samples of the targets of MUSIC: whole numbers, constants, any floats.
Row likeMusic(FuzzedDataProvider& data, std::uint32_t N) {
  Row row;
  for (const creal32_T z : anySamples(data, static_cast<int>(N))) {
    row.emplace_back(static_cast<double>(z.re), static_cast<double>(z.im));
  }
  return row;
}

}  // namespace

RangingOptions anyLikelihoodOptions(FuzzedDataProvider& data, std::uint32_t N) {
  RangingOptions options;
  options.SubcarrierSpacing = anySpacing(data);
  options.NumPaths = anyForcedCount(data, N);
  options.SnapshotsPerEstimate = rarely(data) ? 0 : data.ConsumeIntegralInRange(1U, 3U);
  options.Tones = anyTones(data, N);
  if (rarely(data)) {
    spoilTones(data, options.Tones);
  }
  if (data.ConsumeIntegralInRange(0, 3) == 3) {
    options.Weights = anyWeights(data, N);
  }
  options.FalseAlarm = data.ConsumeBool() ? anyProbability(data) : 1e-3;
  if (data.ConsumeIntegralInRange(0, 3) == 3) {
    options.ModelError = rarely(data) ? anyDouble(data) : -data.ConsumeIntegralInRange(0, 80);
  }
  chooseWindow(data, options);
  if (data.ConsumeIntegralInRange(0, 3) == 3) {
    options.IntervalLevel = anyProbability(data);
  }
  return options;
}

Tones tonesOf(const RangingOptions& options, std::uint32_t N) {
  std::vector<int> indices = options.Tones;
  if (indices.empty()) {
    indices = support::range(0, static_cast<int>(N) - 1);
  }
  Tones tones;
  std::int64_t stride = 0;
  for (const int t : indices) {
    tones.positions.push_back(std::int64_t{t} - indices.front());
    stride = std::gcd(stride, tones.positions.back());
  }
  tones.stride = std::max<std::int64_t>(stride, 1);
  for (std::int64_t& position : tones.positions) {
    position /= tones.stride;
  }
  return tones;
}

std::vector<double> scaledWeights(const RangingOptions& options, std::uint32_t N) {
  std::vector<double> weights = options.Weights;
  weights.resize(options.Weights.empty() ? N : weights.size(), 1.0);
  const int exponent = -std::ilogb(*std::ranges::max_element(weights));
  for (double& weight : weights) {
    weight = std::ldexp(weight, exponent);
  }
  return weights;
}

bool areTones(const RangingOptions& options, std::uint32_t N) {
  if (options.Tones.empty()) {
    return true;
  }
  if (options.Tones.size() != N ||
      std::ranges::adjacent_find(options.Tones, std::greater_equal<>()) != options.Tones.end()) {
    return false;
  }
  const Tones tones = tonesOf(options, N);
  return tones.extent() <= (1 << 20) && tones.stride <= std::numeric_limits<int>::max();
}

bool areWeights(const RangingOptions& options, std::uint32_t N) {
  return options.Weights.empty() ||
         (options.Weights.size() == N && std::ranges::all_of(options.Weights, [](double weight) {
            return weight > 0.0 && weight < infinity;
          }));
}

namespace {

bool isProbability(double p) { return p > 0.0 && p < 1.0; }

/// One end infinite stands for none.
bool isWindow(const RangingOptions& options, std::uint32_t N) {
  if (!options.EarliestDistance && !options.LatestDistance) {
    return true;
  }
  const auto stride = static_cast<double>(tonesOf(options, N).stride);
  const auto frequency = [&](double distance_m) {
    return distance_m * options.SubcarrierSpacing / speedOfLight_mps * stride;
  };
  const double first = frequency(options.EarliestDistance.value_or(-infinity));
  const double last = frequency(options.LatestDistance.value_or(infinity));
  return first < last && first < infinity && last > -infinity &&
         (std::isfinite(first) || std::isfinite(last));
}

}  // namespace

bool isAllowedLikelihood(const RangingOptions& options, std::uint32_t N) {
  const double spacing_Hz = options.SubcarrierSpacing;
  return N >= 1 && N <= 65535 && spacing_Hz > 0.0 && spacing_Hz < infinity &&
         options.Threads <= 1024 && options.NumPaths.value_or(0) <= 65535 &&
         options.SnapshotsPerEstimate >= 1 && options.SnapshotsPerEstimate <= 65535 &&
         areTones(options, N) && areWeights(options, N) && isProbability(options.FalseAlarm) &&
         options.ModelError.value_or(0.0) <= 0.0 && options.ModelError.value_or(0.0) > -infinity &&
         isProbability(options.IntervalLevel.value_or(0.5)) && isWindow(options, N) &&
         hasScales(N, spacing_Hz * static_cast<double>(tonesOf(options, N).stride));
}

Row anyRow(FuzzedDataProvider& data, const RangingOptions& options, std::uint32_t N) {
  Row row = data.ConsumeIntegralInRange(0, 3) == 3 ? likeMusic(data, N) : drawn(data, options, N);
  const int exponent = rarely(data) ? data.ConsumeIntegralInRange(-1074, 1023) : 0;
  for (std::complex<double>& z : row) {
    z = {std::ldexp(z.real(), exponent), std::ldexp(z.imag(), exponent)};
  }
  const int times = rarely(data) ? data.ConsumeIntegralInRange(1, 4) : 0;
  for (int i = 0; i < times; ++i) {
    std::complex<double>& z = row[data.ConsumeIntegralInRange<std::size_t>(0, row.size() - 1)];
    z = data.ConsumeBool() ? std::complex<double>(anyDouble(data), z.imag())
                           : std::complex<double>(z.real(), anyDouble(data));
  }
  return row;
}

ClearChannel clearChannel(FuzzedDataProvider& data) {
  ClearChannel channel;
  const auto numPaths = data.ConsumeIntegralInRange<std::size_t>(1, 4);
  const int of = data.ConsumeIntegralInRange(8 * static_cast<int>(numPaths), 48);
  std::mt19937_64 random(data.ConsumeIntegral<std::uint32_t>());
  channel.options.Tones = support::randomTones(of, of - of / 8, random);
  channel.N = static_cast<std::uint32_t>(channel.options.Tones.size());
  channel.options.SubcarrierSpacing = 312500.0;
  channel.options.NumPaths = static_cast<std::uint32_t>(numPaths);
  channel.options.SnapshotsPerEstimate = data.ConsumeIntegralInRange(1U, 3U);
  std::uniform_real_distribution<double> place(0.25, 0.75);
  for (std::size_t p = 0; p < numPaths; ++p) {
    const double slot = static_cast<double>(p) + place(random);
    channel.frequencies.push_back(slot / static_cast<double>(numPaths) - 0.5);
  }
  channel.rows =
      support::drawChannel(channel.options.Tones, {}, channel.frequencies,
                           std::vector<double>(numPaths, 1.0), 0.01,
                           static_cast<int>(channel.options.SnapshotsPerEstimate), random)
          .rows;
  return channel;
}

}  // namespace fuzz
