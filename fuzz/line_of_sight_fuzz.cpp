// flightpath::LineOfSight over any tones, weights, windows and samples: what is found is finite, in order
// and in the window; the same bits again, behind another estimate and on threads; refusals of the header.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numbers>
#include <optional>
#include <stdexcept>
#include <vector>

#include "flightpath/line_of_sight/line_of_sight.h"
#include "fuzz/support/any_float.h"
#include "fuzz/support/likelihood_batch.h"
#include "fuzz/support/require.h"

namespace {

using flightpath::DirectPath;
using flightpath::LineOfSight;
using flightpath::LineOfSightOptions;
using flightpath::Outcome;
using fuzz::require;
using fuzz::Row;

constexpr double exactSpeedOfLight_mps = 299792458.0;

/// Estimates over a longer extent, in strides, take long.
constexpr std::int64_t longest = 256;

struct Batch {
  std::uint32_t N = 4;
  LineOfSightOptions options;
  std::vector<Row> rows;  // a whole number of estimates
};

/// Metres per period.
double rangeOf(const Batch& batch) {
  const auto stride =
      static_cast<double>(fuzz::tonesOf({.Tones = batch.options.Tones}, batch.N).stride);
  const double way = batch.options.RoundTrip ? 2.0 : 1.0;
  return exactSpeedOfLight_mps / (batch.options.SubcarrierSpacing * stride) / way;
}

LineOfSightOptions anyOptions(FuzzedDataProvider& data, std::uint32_t N) {
  const fuzz::RangingOptions shared = fuzz::anyLikelihoodOptions(data, N);
  LineOfSightOptions options;
  options.SubcarrierSpacing = shared.SubcarrierSpacing;
  options.SnapshotsPerEstimate = data.ConsumeIntegralInRange(1U, 4U);
  options.Tones = shared.Tones;
  options.Weights = shared.Weights;
  options.EarliestDistance = shared.EarliestDistance;
  options.LatestDistance = shared.LatestDistance;
  options.RoundTrip = data.ConsumeBool();
  options.AcceptPhaseOnly = data.ConsumeBool();
  if (data.ConsumeBool()) {
    options.LongestDecay = fuzz::anyDouble(data);
  }
  if (data.ConsumeBool()) {
    options.IntervalLevel = data.ConsumeProbability<double>();
  }
  return options;
}

/// A direct path with a tail, that is, paths ever later and weaker; then as the bytes want it.
Row tailedRow(FuzzedDataProvider& data, const Batch& batch) {
  const fuzz::Tones tones = fuzz::tonesOf({.Tones = batch.options.Tones}, batch.N);
  const double extent = static_cast<double>(tones.extent());
  const double first = data.ConsumeFloatingPointInRange(-0.5, 0.5);
  const int rays = data.ConsumeIntegralInRange(0, 6);
  Row row(batch.N);
  for (int ray = 0; ray <= rays; ++ray) {
    const double delay = first + ray * data.ConsumeFloatingPointInRange(0.0, 2.0) / extent;
    const std::complex<double> amplitude = std::polar(std::exp2(-data.ConsumeIntegralInRange(0, 8)),
                                                      6.3 * data.ConsumeProbability<double>());
    for (std::size_t k = 0; k < row.size() && k < tones.positions.size(); ++k) {
      const double turns = delay * static_cast<double>(tones.positions[k]);
      row[k] += amplitude * std::polar(1.0, -2.0 * std::numbers::pi * turns);
    }
  }
  return row;
}

Batch anyBatch(FuzzedDataProvider& data) {
  Batch batch;
  batch.N = data.ConsumeIntegralInRange(data.ConsumeIntegralInRange(0, 15) == 15 ? 1U : 4U, 64U);
  batch.options = anyOptions(data, batch.N);
  return batch;
}

/// One estimate or two.
void drawRows(FuzzedDataProvider& data, Batch& batch) {
  const std::size_t count =
      data.ConsumeIntegralInRange<std::size_t>(1, 2) * batch.options.SnapshotsPerEstimate;
  const bool isTailed = data.ConsumeBool();
  for (std::size_t i = 0; i < count; ++i) {
    batch.rows.push_back(isTailed ? tailedRow(data, batch)
                                  : fuzz::anyRow(data, {.Tones = batch.options.Tones}, batch.N));
  }
}

std::vector<DirectPath> estimate(LineOfSight& lineOfSight, std::uint32_t N,
                                 const std::vector<Row>& rows) {
  Row all;
  for (const Row& row : rows) {
    all.insert(all.end(), row.begin(), row.end());
  }
  return lineOfSight.estimate({all, N});
}

std::vector<double> numbersOf(const DirectPath& p) {
  return {p.Distance_m,
          p.Delay_s,
          p.Deviation_m,
          p.Lower_m,
          p.Upper_m,
          p.Probability,
          p.RicianFactor_dB,
          p.Decay_s,
          p.NoisePower,
          p.ProfileMisfit,
          static_cast<double>(p.Result),
          static_cast<double>(p.Quality)};
}

/// Any NaN is as good as another.
bool isSame(const DirectPath& a, const DirectPath& b) {
  return std::ranges::equal(numbersOf(a), numbersOf(b), [](double x, double y) {
    return x == y || (std::isnan(x) && std::isnan(y));
  });
}

void checkNothing(const DirectPath& p) {
  for (const double number :
       {p.Distance_m, p.Delay_s, p.Deviation_m, p.Lower_m, p.Upper_m, p.Probability,
        p.RicianFactor_dB, p.Decay_s, p.NoisePower, p.ProfileMisfit}) {
    require(std::isnan(number), "where nothing is found, nothing is stated");
  }
  require(p.Quality == flightpath::Quality::NotRated, "nor rated");
}

void checkWindow(const Batch& batch, const DirectPath& p) {
  const double range = rangeOf(batch);
  const double farthest = std::max({range, std::fabs(batch.options.EarliestDistance.value_or(0.0)),
                                    std::fabs(batch.options.LatestDistance.value_or(0.0))});
  const double slack = 1e-13 * farthest;  // some roundings of a distance
  for (const double d : {p.Distance_m, p.Lower_m, p.Upper_m}) {
    require(!batch.options.EarliestDistance || d >= *batch.options.EarliestDistance - slack,
            "not before the window");
    require(!batch.options.LatestDistance || d <= *batch.options.LatestDistance + slack,
            "not behind the window");
  }
}

void checkFound(const Batch& batch, const DirectPath& p) {
  require(std::isfinite(p.Distance_m) && std::isfinite(p.Delay_s), "a finite distance");
  require(p.Deviation_m >= 0.0 && std::isfinite(p.Deviation_m), "a finite deviation");
  require(p.Lower_m <= p.Upper_m && std::isfinite(p.Lower_m) && std::isfinite(p.Upper_m),
          "an interval");
  require(p.Probability >= 0.0 && p.Probability <= 1.0, "a probability");
  require(p.NoisePower >= 0.0, "a noise power");
  require(p.ProfileMisfit >= 0.0 && std::isfinite(p.ProfileMisfit), "a misfit");
  require(std::isnan(p.RicianFactor_dB) == std::isnan(p.Decay_s), "a tail, or none");
  require(std::isnan(p.Decay_s) || (p.Decay_s > 0.0 && std::isfinite(p.Decay_s)), "a decay time");
  require(!std::isinf(p.RicianFactor_dB), "a Rician factor");
  require(p.Quality != flightpath::Quality::NotRated, "a word");
  checkWindow(batch, p);
}

bool isFinite(const Row& row) {
  return std::ranges::all_of(row, [](std::complex<double> z) {
    return std::isfinite(z.real()) && std::isfinite(z.imag());
  });
}

/// Whether the header lets such a one be made, but for its window.
bool isAllowed(const Batch& batch) {
  const LineOfSightOptions& options = batch.options;
  if (batch.N < 4 || !(options.LongestDecay > 0.0) || !std::isfinite(options.LongestDecay) ||
      !(options.IntervalLevel > 0.0) || !(options.IntervalLevel < 1.0)) {
    return false;
  }
  fuzz::RangingOptions shared;
  shared.SubcarrierSpacing = options.SubcarrierSpacing;
  shared.Tones = options.Tones;
  shared.Weights = options.Weights;
  return options.SubcarrierSpacing > 0.0 && std::isfinite(options.SubcarrierSpacing) &&
         fuzz::areTones(shared, batch.N) && fuzz::areWeights(shared, batch.N) &&
         fuzz::tonesOf(shared, batch.N).extent() <= 1 << 16 && std::isnormal(rangeOf(batch));
}

std::optional<LineOfSight> make(const LineOfSightOptions& options, std::uint32_t N) {
  try {
    return std::optional<LineOfSight>(std::in_place, N, options);
  } catch (const std::invalid_argument&) {
    return {};
  }
}

/// EXACT: alone, in reverse, on threads.
void checkNeighbours(const Batch& batch, LineOfSight& used, const std::vector<DirectPath>& found) {
  const std::size_t S = batch.options.SnapshotsPerEstimate;
  LineOfSightOptions options = batch.options;
  options.Threads = 2;
  LineOfSight threaded(batch.N, options);
  const std::vector<DirectPath> again = estimate(threaded, batch.N, batch.rows);
  for (std::size_t i = found.size(); i-- > 0;) {
    const auto first = batch.rows.begin() + static_cast<std::ptrdiff_t>(i * S);
    const std::vector<Row> group(first, first + static_cast<std::ptrdiff_t>(S));
    require(isSame(estimate(used, batch.N, group).at(0), found[i]), "alone, behind another");
    require(isSame(again.at(i), found[i]), "on threads");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  Batch batch = anyBatch(data);
  std::optional<LineOfSight> lineOfSight = make(batch.options, batch.N);
  const bool hasWindow = batch.options.EarliestDistance || batch.options.LatestDistance;
  const bool mayBe = isAllowed(batch);
  require(lineOfSight ? mayBe : !mayBe || hasWindow, "refused by what the header excludes");
  if (!lineOfSight || fuzz::tonesOf({.Tones = batch.options.Tones}, batch.N).extent() > longest) {
    return 0;
  }
  drawRows(data, batch);
  const std::vector<DirectPath> found = estimate(*lineOfSight, batch.N, batch.rows);
  const std::size_t S = batch.options.SnapshotsPerEstimate;
  require(found.size() == batch.rows.size() / S, "an answer per estimate");
  for (std::size_t i = 0; i < found.size(); ++i) {
    const auto first = batch.rows.begin() + static_cast<std::ptrdiff_t>(i * S);
    require(std::all_of(first, first + static_cast<std::ptrdiff_t>(S), isFinite) ==
                (found[i].Result != Outcome::BadSamples),
            "one bad row is a bad estimate");
    if (found[i].Result == Outcome::Found) {
      checkFound(batch, found[i]);
    } else {
      checkNothing(found[i]);
    }
  }
  checkNeighbours(batch, *lineOfSight, found);
  return 0;
}
