// MUSICLib::MUSIC1D over its whole parameter space: every answer has the bits of the plain recomposition
// (and its length errors), no input changes, an object may be used again; and on benign channels the
// frequencies are those of the double-precision model.

#include <fuzzer/FuzzedDataProvider.h>

#include <optional>
#include <stdexcept>
#include <vector>

#include "flightpath/api/music_parameters.h"
#include "flightpath/music/music_result.h"
#include "flightpath/spectrum/estimator.h"
#include "flightpath/toolbox/detail/blas.h"
#include "fuzz/support/any_float.h"
#include "fuzz/support/benign_check.h"
#include "fuzz/support/plain_estimator.h"
#include "fuzz/support/require.h"
#include "fuzz/support/samples.h"
#include "fuzz/support/settings.h"
#include "tests/support/builders.h"
#include "tests/support/reference_estimator.h"
#include "tests/support/same_bits.h"

namespace {

using coder::array;
using fuzz::require;
using support::sameBits;

struct Case {
  array<creal32_T, 1> x;
  MUSICParameters settings;
};

/// The two extents of a forced count: [1, 1], nothing, or any small ones. Only two positive ones give
/// a count.
void setForcedCount(FuzzedDataProvider& data, int N, float& count, int (&extents)[2]) {
  count = fuzz::anyCount(data, N);
  extents[0] = extents[1] = data.ConsumeBool() ? 1 : 0;
  if (data.ConsumeIntegralInRange(0, 7) == 0) {
    extents[0] = data.ConsumeIntegralInRange(-2, 3);
    extents[1] = data.ConsumeIntegralInRange(-2, 3);
  }
}

Case anyCase(FuzzedDataProvider& data) {
  const int N = fuzz::anyLength(data);
  float count = 0.0F;
  int extents[2];
  setForcedCount(data, N, count, extents);
  float coarse = fuzz::anyCoarseResolution(data, N);
  float fine = fuzz::anyFineResolution(data, coarse);
  if (!fuzz::refusedOrSmall(coarse, fine)) {
    coarse = 0.01F;
    fine = 0.0003F;
  }
  const array<float, 2> grid = fuzz::anyGrid(data, 1.0F);
  const unsigned char forceClassic = fuzz::anySwitch(data);
  const unsigned char phaseSlope = fuzz::anySwitch(data);
  const unsigned char smooth = fuzz::anySwitch(data);
  Case c;
  c.settings.init(grid, extents[0] * extents[1] > 0 ? &count : nullptr, extents, forceClassic,
                  phaseSlope, smooth, coarse, fine);
  c.x = support::column(fuzz::anySamples(data, N));
  return c;
}

fuzz::PlainSettings plain(const MUSICParameters& p) {
  fuzz::PlainSettings s;
  s.grid = support::toVector(p.NormalizedScanningFreqs);
  if (p.InputNumSignals.size[0] != 0 && p.InputNumSignals.size[1] != 0) {
    s.forcedCount = p.InputNumSignals.data;
  }
  s.forceClassic = p.ForceClassic != 0;
  s.allowPhaseSlope = p.OptPhaseSlopeForOneSignalCase != 0;
  s.uniformlySampled = p.MeasurementContinual != 0;
  s.coarseResolution = p.CoarseResolution;
  s.fineResolution = p.FineResolution;
  return s;
}

void requireSame(const MUSICResult& r, const fuzz::PlainEstimate& expected) {
  const auto K = static_cast<int>(expected.peakValues.size());
  const bool aColumn = expected.peakValuesAreAColumn;
  require(sameBits(r.NumSignals, expected.numSignals), "NumSignals");
  require(sameBits(r.NormalizedFreqs, support::row(expected.freqs)), "NormalizedFreqs");
  require(sameBits(r.PeakValues,
                   support::matrix(aColumn ? K : 1, aColumn ? 1 : K, expected.peakValues)),
          "PeakValues");
  require(sameBits(r.ScannedFreqs, support::row(expected.scannedFreqs)), "ScannedFreqs");
  require(sameBits(r.PseudoSpectrum, support::column(expected.pseudoSpectrum)), "PseudoSpectrum");
}

/// Empty where the settings ask for too many points.
std::optional<fuzz::PlainEstimate> expectation(const Case& c) {
  try {
    return fuzz::plainEstimate(c.x, plain(c.settings));
  } catch (const std::length_error&) {
    return {};
  }
}

bool estimate(MUSICLib& estimator, const Case& c, MUSICResult& r) {
  try {
    estimator.MUSIC1D(c.x, &c.settings, &r);
    return true;
  } catch (const std::length_error&) {
    return false;
  }
}

void requireUnchanged(const Case& c, const Case& before) {
  require(sameBits(c.x, before.x), "the samples are read only");
  const MUSICParameters& a = c.settings;
  const MUSICParameters& b = before.settings;
  require(sameBits(a.NormalizedScanningFreqs, b.NormalizedScanningFreqs), "so is the grid");
  require(sameBits(a.CoarseResolution, b.CoarseResolution) &&
              sameBits(a.FineResolution, b.FineResolution) &&
              sameBits(a.InputNumSignals.data, b.InputNumSignals.data) &&
              a.InputNumSignals.size[0] == b.InputNumSignals.size[0] &&
              a.InputNumSignals.size[1] == b.InputNumSignals.size[1] &&
              a.ForceClassic == b.ForceClassic &&
              a.MeasurementContinual == b.MeasurementContinual &&
              a.OptPhaseSlopeForOneSignalCase == b.OptPhaseSlopeForOneSignalCase,
          "and the settings");
}

/// Two estimates after each other on one object, into records that have held something before.
void checkAnyCase(FuzzedDataProvider& data) {
  const Case first = anyCase(data);
  const Case second = data.ConsumeBool() ? first : anyCase(data);
  MUSICLib estimator;
  MUSICResult r;
  for (const Case* c : {&first, &second}) {
    const Case before = *c;
    const std::optional<fuzz::PlainEstimate> expected = expectation(*c);
    require(estimate(estimator, *c, r) == expected.has_value(),
            "std::length_error where the settings ask for too many points, and only there");
    if (expected) {
      requireSame(r, *expected);
    }
    requireUnchanged(*c, before);
  }
}

/// The model searches with the same settings: the FFT route, with or without a grid of the caller.
void checkBenignChannel(FuzzedDataProvider& data) {
  const fuzz::BenignChannel channel = fuzz::benignChannel(data);
  const auto N = static_cast<int>(channel.samples.size());
  support::ReferenceSettings settings = support::referenceDefaults(N);
  settings.forcedCount = channel.numPaths;
  settings.allowPhaseSlope = false;
  const int points = data.ConsumeBool() ? 211 * N : 0;
  array<float, 2> grid;
  grid.set_size(1, points);
  for (int k = 0; k < points; ++k) {
    grid[k] = static_cast<float>((k + 0.3) / points - 0.5);
    settings.grid.push_back(static_cast<double>(grid[k]));
  }
  const support::ReferenceEstimate expected =
      support::referenceEstimate(support::toDouble(channel.samples), settings);
  if (!fuzz::isDecided(expected)) {
    return;
  }
  const auto count = static_cast<float>(channel.numPaths);
  const int given[] = {1, 1};
  Case c;
  c.x = support::column(channel.samples);
  c.settings.init(grid, &count, given, 0, 0, 1, static_cast<float>(settings.coarseResolution),
                  static_cast<float>(settings.fineResolution));
  MUSICLib estimator;
  MUSICResult r;
  require(estimate(estimator, c, r), "ordinary settings are not refused");
  fuzz::requireSamePaths({r.NormalizedFreqs.begin(), r.NormalizedFreqs.end()}, expected.freqs,
                         fuzz::pathTolerance(points > 0 ? 1.0 / points : settings.fineResolution));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  flightpath::blas::useOneThread();
  FuzzedDataProvider data(bytes, size);
  if (data.ConsumeIntegralInRange(0, 7) == 7) {
    checkBenignChannel(data);
  } else {
    checkAnyCase(data);
  }
  return 0;
}
