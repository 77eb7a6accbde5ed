// flightpath::Ranger by MUSIC on batches of any floats: one measurement gives the same bits whatever
// stands beside it, on any number of threads, in any order and in any unit that is a power of two;
// shapes and refusals are those of the header; and on benign channels the paths are those of the
// double-precision model and of MUSIC::estimateToF.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numeric>
#include <optional>
#include <stdexcept>
#include <vector>

#include "flightpath/api/entry/estimate_tof.h"
#include "flightpath/ranging/ranger.h"
#include "fuzz/support/benign_check.h"
#include "fuzz/support/plain_estimator.h"
#include "fuzz/support/ranger_answers.h"
#include "fuzz/support/ranger_batch.h"
#include "fuzz/support/require.h"
#include "fuzz/support/same_list.h"
#include "fuzz/support/samples.h"
#include "tests/support/reference_estimator.h"
#include "tests/support/same_bits.h"

namespace {

using fuzz::Answer;
using fuzz::answers;
using fuzz::Batch;
using fuzz::estimate;
using fuzz::PathSet;
using fuzz::Ranger;
using fuzz::RangingOptions;
using fuzz::require;
using fuzz::Samples;
using support::sameBits;

constexpr double exactSpeedOfLight_mps = 299792458.0;

bool isFinite(const Samples& x) { return fuzz::allWithin(x, std::numeric_limits<float>::max()); }

void checkCount(const Batch& batch, const Samples& row, const Answer& a) {
  if (!isFinite(row)) {
    require(a.numSignals == 0 && a.outcome == flightpath::Outcome::BadSamples,
            "a bad sample: no signal and no path");
    return;
  }
  const std::optional<std::uint32_t> forced = batch.options.NumPaths;
  if (forced) {
    require(a.numSignals == static_cast<std::int32_t>(*forced), "the forced count");
  }
  const double L = std::round(0.75 * batch.N);
  require(forced || (a.numSignals >= 0 && a.numSignals < std::max(L, 1.0)),
          "a count that the criterion can give");
  require(a.distances.size() <= static_cast<std::size_t>(a.numSignals),
          "no more paths than signals");
  if (a.numSignals == 1 && batch.options.PhaseSlopeForOnePath) {
    require(a.distances.size() == 1 && a.peakValues[0] == 1.0F, "the closed form");
  }
}

/// One coarse step beyond the period, and ascending but for two whose fine searches overlap.
void checkPlaces(const Batch& batch, const Answer& a) {
  const double cycle_m = exactSpeedOfLight_mps / batch.options.SubcarrierSpacing;
  const double points = 30.0 * batch.N;
  const double bin = std::exp2(-std::round(std::log2(points)));
  constexpr double slack = 1e-5;  // a few roundings of a float
  for (std::size_t k = 0; k < a.distances.size(); ++k) {
    require(std::isfinite(a.distances[k]) && std::isfinite(a.peakValues[k]),
            "moderate samples give finite paths");
    require(std::fabs(a.distances[k]) <= (0.5 + 1.0 / points) * cycle_m * (1.0 + slack),
            "within the period");
    if (k > 0) {
      require(
          a.distances[k] - a.distances[k - 1] >= (bin - 2.0 / points) * cycle_m - slack * cycle_m,
          "in the order of the coarse peaks");
    }
  }
}

Samples scaled(Samples x, int exponent) {
  for (creal32_T& z : x) {
    z = {std::ldexp(z.re, exponent), std::ldexp(z.im, exponent)};
  }
  return x;
}

/// The power of two that brings the largest part of a sample to within 1 ... 2.
int exponentToOne(const Samples& x) {
  float largest = 0.0F;
  for (const creal32_T z : x) {
    largest = std::max({largest, std::fabs(z.re), std::fabs(z.im)});
  }
  return largest > 0.0F ? -std::ilogb(largest) : 0;
}

/// EXACT: the closed form is that of the entry point, down to the bits, for samples of size 1.
void checkClosedForm(const Batch& batch, const Samples& row, const Answer& a) {
  if (batch.options.NumPaths == 1 && batch.options.PhaseSlopeForOnePath && isFinite(row)) {
    const Samples one = scaled(row, exponentToOne(row));
    const CSI csi = {312500, static_cast<std::uint16_t>(batch.N), one.data()};
    require(sameBits(a.distances.at(0), MUSIC::estimateToF(csi, 1).Distances.at(0)),
            "the closed form of MUSIC::estimateToF");
  }
}

void checkNeighbours(Batch batch, const std::vector<Answer>& expected, FuzzedDataProvider& data) {
  Ranger single(batch.N, batch.options);
  PathSet paths;
  for (std::size_t i = 0; i < batch.rows.size(); ++i) {
    estimate(single, batch.N, {batch.rows[i]}, paths);
    requireSame(answers(paths).at(0), expected[i], "alone as in the batch");
  }
  std::vector<std::size_t> order(batch.rows.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  for (std::size_t i = 1; i < order.size(); ++i) {
    std::swap(order[i], order[data.ConsumeIntegralInRange<std::size_t>(0, i)]);
  }
  std::vector<Samples> shuffled;
  shuffled.reserve(order.size());
  for (const std::size_t i : order) {
    shuffled.push_back(batch.rows[i]);
  }
  batch.options.Threads = data.ConsumeIntegralInRange(1U, 3U);
  Ranger threaded(batch.N, batch.options);
  estimate(threaded, batch.N, shuffled, paths);
  const std::vector<Answer> found = answers(paths);
  for (std::size_t i = 0; i < order.size(); ++i) {
    requireSame(found[i], expected[order[i]], "in another order, on several threads");
  }
}

/// EXACT: another power of two as the unit, as long as no sample rounds by it.
void checkUnit(const Batch& batch, const std::vector<Answer>& expected, int exponent) {
  Ranger ranger(batch.N, batch.options);
  PathSet paths;
  for (std::size_t i = 0; i < batch.rows.size(); ++i) {
    const Samples& row = batch.rows[i];
    const Samples other = scaled(row, exponent);
    const bool exact = fuzz::sameList(row, scaled(other, -exponent));
    if (exact && isFinite(other)) {
      estimate(ranger, batch.N, {other}, paths);
      requireSame(answers(paths).at(0), expected[i], "in another unit");
    }
  }
}

std::vector<std::complex<double>> toDoublePrecision(const std::vector<Samples>& rows) {
  std::vector<std::complex<double>> all;
  for (const Samples& row : rows) {
    for (const creal32_T z : row) {
      all.emplace_back(static_cast<double>(z.re), static_cast<double>(z.im));
    }
  }
  return all;
}

/// EXACT: groups of rows alone as in the batch, in either precision of samples.
void checkSnapshots(const Batch& batch, FuzzedDataProvider& data) {
  RangingOptions options = batch.options;
  options.SnapshotsPerEstimate = data.ConsumeIntegralInRange(1U, 3U);
  const std::size_t S = options.SnapshotsPerEstimate;
  const std::size_t count = batch.rows.size() / S;
  const std::vector<Samples> rows(batch.rows.begin(),
                                  batch.rows.begin() + static_cast<std::ptrdiff_t>(count * S));
  Ranger ranger(batch.N, options);
  PathSet paths;
  estimate(ranger, batch.N, rows, paths);
  fuzz::checkShapes(paths, count);
  const std::vector<Answer> all = answers(paths);
  for (std::size_t i = 0; i < count; ++i) {
    const auto first = rows.begin() + static_cast<std::ptrdiff_t>(i * S);
    const std::vector<Samples> group(first, first + static_cast<std::ptrdiff_t>(S));
    require(
        std::ranges::all_of(group, isFinite) == (all[i].outcome != flightpath::Outcome::BadSamples),
        "one bad row is a bad group");
    ranger.estimate({toDoublePrecision(group), batch.N}, paths);
    requireSame(answers(paths).at(0), all[i], "a group alone, in double precision");
  }
}

/// Whether the header lets such a Ranger be made.
bool isAllowed(const RangingOptions& options, std::uint32_t N) {
  return N >= 1 && N <= 65535 && options.SubcarrierSpacing > 0.0 &&
         std::isfinite(options.SubcarrierSpacing) && options.Threads <= 1024 &&
         fuzz::hasScales(N, options.SubcarrierSpacing);
}

std::optional<Ranger> make(const RangingOptions& options, std::uint32_t N) {
  try {
    return std::optional<Ranger>(std::in_place, N, options);
  } catch (const std::invalid_argument&) {
    return {};
  }
}

void checkAnyBatch(FuzzedDataProvider& data) {
  const Batch batch = fuzz::anyBatch(data);
  std::optional<Ranger> ranger = make(batch.options, batch.N);
  require(ranger.has_value() == isAllowed(batch.options, batch.N),
          "std::invalid_argument for what the header excludes, and only for that");
  if (!ranger) {
    return;
  }
  PathSet paths;
  estimate(*ranger, batch.N, batch.rows, paths);
  fuzz::checkShapes(paths, batch.rows.size());
  const std::vector<Answer> all = answers(paths);
  const bool isOrdinary = batch.options.SubcarrierSpacing == 312500.0;
  for (std::size_t i = 0; i < all.size(); ++i) {
    checkCount(batch, batch.rows[i], all[i]);
    if (isOrdinary) {
      checkClosedForm(batch, batch.rows[i], all[i]);
    }
    if (isOrdinary && batch.N > 1 && fuzz::allWithin(batch.rows[i], fuzz::moderate)) {
      checkPlaces(batch, all[i]);
    }
  }
  checkNeighbours(batch, all, data);
  checkUnit(batch, all, data.ConsumeIntegralInRange(-120, 120));
  checkSnapshots(batch, data);
}

/// Arguments out of range: refused, by name, before anything is made.
void checkRefusals(FuzzedDataProvider& data) {
  RangingOptions options = fuzz::anyOptions(data);
  const auto N = data.PickValueInArray<std::uint32_t>({0U, 1U, 65536U, 4294967295U});
  options.Threads = data.PickValueInArray<unsigned>({1U, 1025U, 4294967295U});
  std::optional<Ranger> ranger = make(options, N);
  require(ranger.has_value() == isAllowed(options, N), "refused by what the header excludes");
  if (ranger) {
    const creal32_T* const null = nullptr;
    try {
      ranger->estimate({null, data.ConsumeIntegralInRange<std::size_t>(1, 1000), N});
      require(false, "a null pointer is refused");
    } catch (const std::invalid_argument&) {
      require(ranger->estimate({null, 0, N}).size() == 0, "and none is needed for none");
    }
  }
}

void checkBenignChannel(FuzzedDataProvider& data) {
  const fuzz::BenignChannel channel = fuzz::benignChannel(data);
  const auto N = static_cast<int>(channel.samples.size());
  support::ReferenceSettings settings = support::referenceDefaults(N);
  settings.forcedCount = channel.numPaths;
  settings.allowPhaseSlope = false;
  const support::ReferenceEstimate model =
      support::referenceEstimate(support::toDouble(channel.samples), settings);
  if (!fuzz::isDecided(model)) {
    return;
  }
  RangingOptions options;
  options.Method = flightpath::RangingMethod::Music;
  options.SubcarrierSpacing = 312500.0;
  options.NumPaths = static_cast<std::uint32_t>(channel.numPaths);
  options.PhaseSlopeForOnePath = false;
  Ranger ranger(static_cast<std::uint32_t>(N), options);
  PathSet paths;
  estimate(ranger, static_cast<std::uint32_t>(N), {channel.samples}, paths);
  const double tolerance = fuzz::pathTolerance(settings.fineResolution);
  std::vector<double> found;
  for (const double t : paths.delays_s()) {
    found.push_back(t * options.SubcarrierSpacing);
  }
  fuzz::requireSamePaths(found, model.freqs, tolerance);
  if (channel.numPaths > 1) {  // the dense route always takes the closed form for one
    const CSI csi = {312500, static_cast<std::uint16_t>(N), channel.samples.data()};
    std::vector<double> dense;
    for (const double t :
         MUSIC::estimateToF(csi, static_cast<unsigned char>(channel.numPaths)).TimesOfFlight) {
      dense.push_back(t * options.SubcarrierSpacing);
    }
    fuzz::requireSamePaths(found, dense, tolerance);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  switch (data.ConsumeIntegralInRange(0, 15)) {
    case 15:
      checkBenignChannel(data);
      break;
    case 14:
      checkRefusals(data);
      break;
    default:
      checkAnyBatch(data);
  }
  return 0;
}
