// MUSICLib::MUSICToF over its whole parameter space: every answer has the bits of the plain
// recomposition, converted to metres (and its length errors), no input changes, an object may be used
// again.

#include <fuzzer/FuzzedDataProvider.h>

#include <optional>
#include <stdexcept>
#include <vector>

#include "flightpath/api/tof_parameters.h"
#include "flightpath/music/tof_result.h"
#include "flightpath/spectrum/estimator.h"
#include "flightpath/toolbox/detail/blas.h"
#include "fuzz/support/any_float.h"
#include "fuzz/support/plain_estimator.h"
#include "fuzz/support/require.h"
#include "fuzz/support/samples.h"
#include "fuzz/support/settings.h"
#include "tests/support/builders.h"
#include "tests/support/same_bits.h"

namespace {

using coder::array;
using fuzz::require;
using support::sameBits;

struct Case {
  array<creal32_T, 1> x;
  ToFEstimationParameters settings;
};

bool isAffordable(const ToFEstimationParameters& p) {
  const fuzz::PlainSettings s = fuzz::plainSettings(p);
  return fuzz::refusedOrSmall(s.coarseResolution, s.fineResolution);
}

/// Leaves resolutions, and if need be the geometry, to the defaults.
void makeAffordable(ToFEstimationParameters& p, int N) {
  if (isAffordable(p)) {
    return;
  }
  p.CoarseResolution = p.FineResolution = {};
  if (!isAffordable(p)) {
    p.NumSubcarriers = static_cast<float>(N);
    p.SubcarrierSpacing = 312500.0F;
  }
}

/// The fields as a caller may set them one by one, without init: of any shape.
void setFields(FuzzedDataProvider& data, int N, ToFEstimationParameters& p) {
  p.NumSubcarriers =
      data.ConsumeIntegralInRange(0, 7) == 0 ? fuzz::anyFloat(data) : static_cast<float>(N);
  p.SubcarrierSpacing = data.ConsumeIntegralInRange(0, 3) == 0 ? fuzz::anyFloat(data) : 312500.0F;
  const float cycle_m = fuzz::toDistance(1.0F, p.SubcarrierSpacing);
  p.ScanningDistances = fuzz::anyGrid(data, data.ConsumeBool() ? cycle_m : 1.0F);
  p.InputNumSignals = fuzz::optionalValue(data, fuzz::anyCount(data, N));
  p.ForceClassic = fuzz::anySwitch(data);
  p.OptPhaseSlopeForOneSignalCase = fuzz::anySwitch(data);
  p.MeasurementContinual = fuzz::anySwitch(data);
  const float coarse = fuzz::anyCoarseResolution(data, N);
  const float fine = fuzz::anyFineResolution(data, coarse);
  if (data.ConsumeBool()) {
    p.CoarseResolution = fuzz::optionalValue(data, coarse * cycle_m);
  }
  if (data.ConsumeBool()) {
    p.FineResolution = fuzz::optionalValue(data, fine * cycle_m);
  }
  makeAffordable(p, N);
}

Case anyCase(FuzzedDataProvider& data) {
  const int N = fuzz::anyLength(data);
  Case c;
  setFields(data, N, c.settings);
  if (data.ConsumeBool()) {
    const ToFEstimationParameters p = c.settings;
    c.settings.init(p.NumSubcarriers, p.SubcarrierSpacing, p.ScanningDistances, p.InputNumSignals,
                    p.ForceClassic, p.OptPhaseSlopeForOneSignalCase, p.MeasurementContinual,
                    p.CoarseResolution, p.FineResolution);
  }
  c.x = support::column(fuzz::anySamples(data, N));
  return c;
}

std::vector<float> distances(std::vector<float> freqs, float spacing_Hz) {
  for (float& f : freqs) {
    f = fuzz::toDistance(f, spacing_Hz);
  }
  return freqs;
}

void requireSame(const ToFResult& r, const fuzz::PlainEstimate& expected, float spacing_Hz) {
  const auto K = static_cast<int>(expected.peakValues.size());
  const bool aColumn = expected.peakValuesAreAColumn;
  require(sameBits(r.NumSignals, expected.numSignals), "NumSignals");
  require(sameBits(r.Distances, support::row(distances(expected.freqs, spacing_Hz))), "Distances");
  require(sameBits(r.PeakValues,
                   support::matrix(aColumn ? K : 1, aColumn ? 1 : K, expected.peakValues)),
          "PeakValues");
  require(sameBits(r.ScannedDistances, support::row(distances(expected.scannedFreqs, spacing_Hz))),
          "ScannedDistances");
  require(sameBits(r.PseudoSpectrum, support::column(expected.pseudoSpectrum)), "PseudoSpectrum");
}

/// Empty where the settings ask for too many points.
std::optional<fuzz::PlainEstimate> expectation(const Case& c) {
  try {
    return fuzz::plainEstimate(c.x, fuzz::plainSettings(c.settings));
  } catch (const std::length_error&) {
    return {};
  }
}

bool estimate(MUSICLib& estimator, const Case& c, ToFResult& r) {
  try {
    estimator.MUSICToF(c.x, &c.settings, &r);
    return true;
  } catch (const std::length_error&) {
    return false;
  }
}

void requireUnchanged(const Case& c, const Case& before) {
  require(sameBits(c.x, before.x), "the samples are read only");
  const ToFEstimationParameters& a = c.settings;
  const ToFEstimationParameters& b = before.settings;
  require(sameBits(a.ScanningDistances, b.ScanningDistances), "so are the distances");
  require(sameBits(a.InputNumSignals, b.InputNumSignals), "the count");
  require(sameBits(a.CoarseResolution, b.CoarseResolution), "the coarse resolution");
  require(sameBits(a.FineResolution, b.FineResolution), "the fine resolution");
  require(sameBits(a.NumSubcarriers, b.NumSubcarriers) &&
              sameBits(a.SubcarrierSpacing, b.SubcarrierSpacing) &&
              a.ForceClassic == b.ForceClassic &&
              a.MeasurementContinual == b.MeasurementContinual &&
              a.OptPhaseSlopeForOneSignalCase == b.OptPhaseSlopeForOneSignalCase,
          "and the rest");
}

}  // namespace

/// Two estimates after each other on one object, into a record that has held something before.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  flightpath::blas::useOneThread();
  FuzzedDataProvider data(bytes, size);
  const Case first = anyCase(data);
  const Case second = data.ConsumeBool() ? first : anyCase(data);
  MUSICLib estimator;
  ToFResult r;
  for (const Case* c : {&first, &second}) {
    const Case before = *c;
    const std::optional<fuzz::PlainEstimate> expected = expectation(*c);
    require(estimate(estimator, *c, r) == expected.has_value(),
            "std::length_error where the settings ask for too many points, and only there");
    if (expected) {
      requireSame(r, *expected, c->settings.SubcarrierSpacing);
    }
    requireUnchanged(*c, before);
  }
  return 0;
}
