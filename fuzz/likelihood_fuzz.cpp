// flightpath::Ranger by maximum likelihood over any tones: amplitudes, noise power, covariances and
// intervals are those of the plain fit at the delays that it answers, where the cost has a minimum;
// one estimate gives the same bits whatever stands beside it, on any number of threads, again, in any
// unit that is a power of two and wherever the tones' indices begin; counts, order, window and
// refusals are those of the header; and on clear channels the fit is as good as the drawn paths.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <stdexcept>
#include <vector>

#include "flightpath/ranging/ranger.h"
#include "fuzz/support/likelihood_batch.h"
#include "fuzz/support/plain_fit.h"
#include "fuzz/support/ranger_answers.h"
#include "fuzz/support/require.h"
#include "fuzz/support/same_list.h"
#include "fuzz/support/samples.h"

namespace {

using flightpath::Estimate;
using flightpath::EstimateInfo;
using flightpath::Outcome;
using flightpath::Path;
using fuzz::PathSet;
using fuzz::Ranger;
using fuzz::RangingOptions;
using fuzz::require;
using fuzz::Row;

constexpr double speedOfLight_mps = 299792458.0;

/// A Ranger's settings, and the rows of some estimates.
struct Batch {
  std::uint32_t N = 0;
  RangingOptions options;
  std::vector<Row> rows;

  std::size_t size() const { return rows.size() / options.SnapshotsPerEstimate; }
  std::span<const Row> rowsOf(std::size_t estimate) const {
    const std::size_t S = options.SnapshotsPerEstimate;
    return std::span(rows).subspan(estimate * S, S);
  }
};

/// The buffer is exactly as long as the batch: one sample further is a finding.
PathSet estimate(Ranger& ranger, std::uint32_t N, std::span<const Row> rows) {
  Row buffer;
  for (const Row& row : rows) {
    buffer.insert(buffer.end(), row.begin(), row.end());
  }
  buffer.shrink_to_fit();
  return ranger.estimate({buffer, N});
}

/// Every number of an answer that does not depend on the unit of the samples, and those that do.
struct Numbers {
  std::vector<double> unitless;
  std::vector<double> amplitudes;
  double noisePower;
};

Numbers numbersOf(const Estimate& answer, std::size_t numRows) {
  const EstimateInfo info = answer.info();
  Numbers n;
  n.noisePower = info.NoisePower;
  n.unitless = {static_cast<double>(info.NumSignals),
                static_cast<double>(info.Result),
                info.ResidualStructure,
                info.WeakestMargin,
                info.NextMargin,
                static_cast<double>(info.Quality)};
  for (std::size_t p = 0; p < answer.size(); ++p) {
    const Path path = answer[p];
    n.unitless.insert(n.unitless.end(), {path.Distance_m, path.Delay_s, path.Deviation_m,
                                         path.SNR_dB, path.Lower_m, path.Upper_m});
    for (std::size_t q = 0; q < answer.size(); ++q) {
      n.unitless.push_back(answer.covariance_m2(p, q));
    }
    n.amplitudes.push_back(static_cast<double>(path.Peak_dB));
    for (std::size_t row = 0; row < numRows; ++row) {
      n.amplitudes.push_back(answer.amplitude(p, row).real());
      n.amplitudes.push_back(answer.amplitude(p, row).imag());
    }
  }
  return n;
}

/// EXACT
void requireSame(const Estimate& a, const Estimate& b, std::size_t numRows, const char* what) {
  const Numbers x = numbersOf(a, numRows);
  const Numbers y = numbersOf(b, numRows);
  require(support::sameBits(x.unitless, y.unitless), what);
  require(support::sameBits(x.amplitudes, y.amplitudes), what);
  require(support::sameBits(x.noisePower, y.noisePower), what);
}

bool isFinite(std::span<const Row> rows) {
  return std::ranges::all_of(rows, [](const Row& row) {
    return std::ranges::all_of(row, [](std::complex<double> z) {
      return std::isfinite(z.real()) && std::isfinite(z.imag());
    });
  });
}

bool isZero(std::span<const Row> rows) {
  return std::ranges::all_of(rows, [](const Row& row) {
    return std::ranges::all_of(row, [](std::complex<double> z) { return z == 0.0; });
  });
}

/// K (M + 1/2) < M N and K < N, and 24 unless more are forced.
std::size_t mostPaths(const Batch& batch) {
  const std::size_t M = batch.options.SnapshotsPerEstimate;
  const std::size_t wanted = batch.options.NumPaths.value_or(24);
  std::size_t most = 0;
  while (most < wanted && most + 2 <= batch.N && (most + 1) * (2 * M + 1) < 2 * M * batch.N) {
    ++most;
  }
  return most;
}

void checkColumns(const Batch& batch, const PathSet& found) {
  fuzz::checkShapes(found, batch.size());
  const std::size_t numPaths = found.distances_m().size();
  require(found.rowsPerEstimate() == batch.options.SnapshotsPerEstimate &&
              found.amplitudes().size() == numPaths * found.rowsPerEstimate(),
          "an amplitude per path and row");
  require(found.deviations_m().size() == numPaths && found.SNRs_dB().size() == numPaths &&
              found.lowers_m().size() == numPaths && found.uppers_m().size() == numPaths,
          "a value per path in every column");
  for (std::size_t i = 0; i < found.size(); ++i) {
    const std::size_t K = found[i].size();
    require(found.covarianceOffsets()[i + 1] - found.covarianceOffsets()[i] == K * K,
            "a covariance per pair of paths");
  }
}

/// The header's window, to the rounding of its ends.
void checkPlaces(const Batch& batch, const Estimate& answer) {
  const RangingOptions& options = batch.options;
  const double range_m = speedOfLight_mps / options.SubcarrierSpacing /
                         static_cast<double>(fuzz::tonesOf(options, batch.N).stride);
  const bool hasWindow = options.EarliestDistance || options.LatestDistance;
  const double last = options.LatestDistance.value_or(std::numeric_limits<double>::infinity());
  double first = options.EarliestDistance.value_or(-std::numeric_limits<double>::infinity());
  if (!std::isfinite(first)) {
    first = hasWindow ? last - range_m : -0.5 * range_m;
  }
  const double end = std::min(first + range_m, last);
  const double slack = 1e-14 * (std::fabs(first) + std::fabs(end) + range_m);
  double before = first - slack;
  for (const Path path : answer) {
    require(path.Distance_m >= before, "ascending, from the beginning of the window");
    require(path.Distance_m <= end + slack, "up to its end");
    before = path.Distance_m;
  }
}

void checkInfo(const Batch& batch, std::span<const Row> rows, const Estimate& answer) {
  const EstimateInfo info = answer.info();
  require(static_cast<std::size_t>(info.NumSignals) == answer.size(), "the count is of the paths");
  if (!isFinite(rows)) {
    require(info.Result == Outcome::BadSamples && std::isnan(info.NoisePower),
            "a bad sample: no path, and nothing known");
    require(info.Quality == flightpath::Quality::NotRated, "nor rated");
    return;
  }
  require(info.Result == (answer.empty() ? Outcome::NoSignal : Outcome::Found), "a reason");
  require((info.Quality == flightpath::Quality::NotRated) == answer.empty(), "a word for a path");
  require(answer.size() <= mostPaths(batch), "what the tones can carry");
  require(!(info.NoisePower < 0.0) && !std::isnan(info.NoisePower), "a noise power");
  require(!isZero(rows) || (answer.empty() && info.NoisePower == 0.0), "nothing in nothing");
  const bool isTested = !batch.options.NumPaths && !isZero(rows);
  require(std::isnan(info.WeakestMargin) == (!isTested || answer.empty()),
          "a margin where there is a test of a path");
  require(!(info.WeakestMargin <= 1.0), "every path is needed");
  // What was tried beside another fit than the last may pass there: more often at other settings.
  const bool isStrict = !batch.options.ModelError && batch.options.FalseAlarm <= 0.01;
  require(!isStrict || !(info.NextMargin > 1.0), "and no other");
}

void checkDeviations(const Batch& batch, const Estimate& answer) {
  for (std::size_t p = 0; p < answer.size(); ++p) {
    const Path path = answer[p];
    require(path.Deviation_m >= 0.0, "a deviation");
    const double square = path.Deviation_m * path.Deviation_m;
    const double variance = answer.covariance_m2(p, p);
    require(square == variance || std::fabs(square - variance) <= 1e-14 * variance,
            "the deviation is the root of the variance");
    const bool hasInterval = batch.options.IntervalLevel.has_value();
    require(std::isnan(path.Lower_m) != hasInterval && std::isnan(path.Upper_m) != hasInterval,
            "an interval where it was asked for");
    require(!hasInterval || (path.Lower_m <= path.Distance_m && path.Distance_m <= path.Upper_m),
            "around the path");
    for (std::size_t q = 0; q < p; ++q) {
      require(support::sameBits(answer.covariance_m2(p, q), answer.covariance_m2(q, p)),
              "covariances are symmetric");
    }
  }
}

void checkFit(const Batch& batch, std::span<const Row> rows, const Estimate& answer) {
  if (batch.N < 2 || !isFinite(rows) || isZero(rows)) {
    return;
  }
  const fuzz::PlainFit fit(batch.options, batch.N, rows, answer);
  if (fit.isInRange()) {
    fit.requireLeastSquares();
    fit.requirePowers();
    fit.requireCovariances();
    fit.requireMinimum();
    fit.requireInterval();
  }
}

/// EXACT: the same again, alone, and behind a neighbour, by a Ranger of several threads.
void checkNeighbours(const Batch& batch, Ranger& ranger, const PathSet& expected,
                     FuzzedDataProvider& data) {
  const std::size_t S = batch.options.SnapshotsPerEstimate;
  for (std::size_t i = 0; i < batch.size(); ++i) {
    const PathSet alone = estimate(ranger, batch.N, batch.rowsOf(i));
    requireSame(alone[0], expected[i], S, "alone and again");
  }
  RangingOptions options = batch.options;
  options.Threads = data.ConsumeIntegralInRange(2U, 3U);
  Ranger threaded(batch.N, options);
  const std::size_t first = data.ConsumeIntegralInRange<std::size_t>(0, batch.size() - 1);
  std::vector<Row> rows = batch.rows;
  std::rotate(rows.begin(), rows.begin() + static_cast<std::ptrdiff_t>(first * S), rows.end());
  const PathSet found = estimate(threaded, batch.N, rows);
  for (std::size_t i = 0; i < found.size(); ++i) {
    requireSame(found[i], expected[(first + i) % found.size()], S, "in another order, on threads");
  }
}

/// EXACT: the tones' indices may begin anywhere.
void checkOrigin(const Batch& batch, const PathSet& expected, std::int32_t shift) {
  RangingOptions options = batch.options;
  const bool isPossible = std::ranges::all_of(options.Tones, [shift](int t) {
    const std::int64_t moved = std::int64_t{t} + shift;
    return moved == static_cast<int>(moved);
  });
  if (options.Tones.empty() || !isPossible) {
    return;
  }
  for (int& t : options.Tones) {
    t += shift;
  }
  Ranger ranger(batch.N, options);
  const PathSet found = estimate(ranger, batch.N, batch.rowsOf(0));
  requireSame(found[0], expected[0], options.SnapshotsPerEstimate, "with other indices");
}

Row scaled(Row row, int exponent) {
  for (std::complex<double>& z : row) {
    z = {std::ldexp(z.real(), exponent), std::ldexp(z.imag(), exponent)};
  }
  return row;
}

/// EXACT: another power of two as the unit, as long as no sample rounds by it.
void checkUnit(const Batch& batch, Ranger& ranger, const PathSet& expected, int exponent) {
  std::vector<Row> other;
  bool isExact = true;
  for (const Row& row : batch.rowsOf(0)) {
    other.push_back(scaled(row, exponent));
    isExact = isExact && scaled(other.back(), -exponent) == row;
  }
  if (isExact && isFinite(other)) {
    const std::size_t S = batch.options.SnapshotsPerEstimate;
    const PathSet found = estimate(ranger, batch.N, other);
    require(support::sameBits(numbersOf(found[0], S).unitless, numbersOf(expected[0], S).unitless),
            "in another unit");
  }
}

std::optional<Ranger> make(const RangingOptions& options, std::uint32_t N) {
  try {
    return std::optional<Ranger>(std::in_place, N, options);
  } catch (const std::invalid_argument&) {
    return {};
  }
}

Batch anyBatch(FuzzedDataProvider& data) {
  Batch batch;
  batch.N = static_cast<std::uint32_t>(std::max(fuzz::anyLength(data), 1));
  batch.options = fuzz::anyLikelihoodOptions(data, batch.N);
  return batch;
}

void checkAnyBatch(FuzzedDataProvider& data) {
  Batch batch = anyBatch(data);
  std::optional<Ranger> ranger = make(batch.options, batch.N);
  require(ranger.has_value() == fuzz::isAllowedLikelihood(batch.options, batch.N),
          "std::invalid_argument for what the header excludes, and only for that");
  if (!ranger) {
    return;
  }
  const std::size_t count = data.ConsumeIntegralInRange<std::size_t>(1, 2);
  while (batch.rows.size() < count * batch.options.SnapshotsPerEstimate) {
    batch.rows.push_back(fuzz::anyRow(data, batch.options, batch.N));
  }
  const PathSet found = estimate(*ranger, batch.N, batch.rows);
  checkColumns(batch, found);
  for (std::size_t i = 0; i < found.size(); ++i) {
    checkInfo(batch, batch.rowsOf(i), found[i]);
    checkPlaces(batch, found[i]);
    checkDeviations(batch, found[i]);
    checkFit(batch, batch.rowsOf(i), found[i]);
  }
  checkNeighbours(batch, *ranger, found, data);
  checkOrigin(batch, found, data.ConsumeIntegral<std::int32_t>());
  checkUnit(batch, *ranger, found, data.ConsumeIntegralInRange(-900, 900));
}

void checkClearChannel(FuzzedDataProvider& data) {
  const fuzz::ClearChannel channel = fuzz::clearChannel(data);
  Ranger ranger(channel.N, channel.options);
  const PathSet found = estimate(ranger, channel.N, channel.rows);
  require(found[0].size() == channel.frequencies.size(), "as many paths as were asked for");
  const fuzz::PlainFit fit(channel.options, channel.N, channel.rows, found[0]);
  fit.requireLeastSquares();
  fit.requireMinimum();
  fit.requireNoMoreThanAt(channel.frequencies);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  if (data.ConsumeIntegralInRange(0, 7) == 7) {
    checkClearChannel(data);
  } else {
    checkAnyBatch(data);
  }
  return 0;
}
