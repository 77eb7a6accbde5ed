// MUSIC::estimateToF on any record: the shapes, ranges and bits that its header promises, on benign
// channels the paths of the double-precision model, and nothing else happens.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "flightpath/api/entry/estimate_tof.h"
#include "fuzz/support/benign_check.h"
#include "fuzz/support/plain_estimator.h"
#include "fuzz/support/require.h"
#include "fuzz/support/same_list.h"
#include "fuzz/support/samples.h"
#include "tests/support/builders.h"
#include "tests/support/reference_estimator.h"
#include "tests/support/same_bits.h"

namespace {

using fuzz::require;
using support::sameBits;

using ForcedCount = std::optional<unsigned char>;

constexpr double exactSpeedOfLight_mps = 299792458.0;
constexpr double slack = 1e-5;  // a few roundings of a float

struct Case {
  std::uint32_t spacing_Hz = 0;
  std::uint16_t numSubcarriers = 0;  // differs from what is there only where nothing is there
  fuzz::Samples samples;
  ForcedCount forced;

  CSI record() const {
    return {spacing_Hz, numSubcarriers, samples.empty() ? nullptr : samples.data()};
  }
};

std::uint32_t anySpacing(FuzzedDataProvider& data) {
  switch (data.ConsumeIntegralInRange(0, 3)) {
    case 0:
      return data.PickValueInArray<std::uint32_t>({0U, 1U, 16777217U, 4294967295U});
    case 1:
      return data.ConsumeIntegral<std::uint32_t>();
    default:
      return 312500;
  }
}

ForcedCount anyForcedCount(FuzzedDataProvider& data) {
  switch (data.ConsumeIntegralInRange(0, 3)) {
    case 0:
      return data.ConsumeIntegral<unsigned char>();
    case 1:
      return data.ConsumeIntegralInRange<unsigned char>(0, 5);
    default:
      return {};
  }
}

Case anyCase(FuzzedDataProvider& data) {
  Case c;
  c.spacing_Hz = anySpacing(data);
  c.forced = anyForcedCount(data);
  c.numSubcarriers = static_cast<std::uint16_t>(fuzz::anyLength(data));
  c.samples = fuzz::anySamples(data, c.numSubcarriers);
  if (data.ConsumeIntegralInRange(0, 15) == 0) {
    c.samples.clear();  // a null pointer beside any count
  }
  return c;
}

void requireSame(const ToFEstimate& a, const ToFEstimate& b, const char* what) {
  require(fuzz::sameList(a.Distances, b.Distances), what);
  require(fuzz::sameList(a.TimesOfFlight, b.TimesOfFlight), what);
}

void checkTimes(const ToFEstimate& e) {
  require(e.Distances.size() == e.TimesOfFlight.size(), "a time to each distance");
  for (std::size_t k = 0; k < e.Distances.size(); ++k) {
    require(sameBits(e.TimesOfFlight[k], e.Distances[k] / exactSpeedOfLight_mps),
            "times are distances over the speed of light");
  }
}

void checkNumberOfPaths(const Case& c, const ToFEstimate& e) {
  const std::size_t L = (3 * c.samples.size() + 2) / 4;
  if (c.forced == 1) {
    require(e.Distances.size() == 1, "the closed form is one path");
  } else if (c.forced) {
    require(e.Distances.size() <= *c.forced, "no more paths than were forced");
  } else {
    require(e.Distances.size() <= (L > 0 ? L - 1 : 0),
            "no more paths than the criterion can count");
  }
}

/// One coarse step beyond the period that the coarse search takes, in either direction; ascending but
/// for two that the fine search may have exchanged: coarse peaks stand a bin apart or more, and move by
/// a coarse step at most.
void checkPlaces(const Case& c, const ToFEstimate& e) {
  const double N = c.numSubcarriers;
  const double cycle_m = exactSpeedOfLight_mps / c.spacing_Hz;
  const double step = 1.0 / (30.0 * N);
  const double bin = std::exp2(-std::round(std::log2(30.0 * N)));
  for (std::size_t k = 0; k < e.Distances.size(); ++k) {
    require(std::isfinite(e.Distances[k]), "moderate samples give finite distances");
    require(std::fabs(e.Distances[k]) <= (0.5 + step) * cycle_m * (1.0 + slack),
            "within the period");
    if (k > 0) {
      require(e.Distances[k] - e.Distances[k - 1] >=
                  (bin - 2.0 * step - slack * step) * cycle_m - slack * std::fabs(e.Distances[k]),
              "in the order of the coarse peaks");
    }
  }
}

ToFEstimationParameters defaults(const Case& c) {
  ToFEstimationParameters p;
  p.NumSubcarriers = static_cast<float>(c.numSubcarriers);
  p.SubcarrierSpacing = static_cast<float>(c.spacing_Hz);
  if (c.forced) {
    p.InputNumSignals = support::row({static_cast<float>(*c.forced)});
  }
  p.ForceClassic = 0;
  p.OptPhaseSlopeForOneSignalCase = 1;
  p.MeasurementContinual = 1;
  return p;
}

/// EXACT: the recomposed estimator with the defaults of the entry point.
ToFEstimate plainEstimate(const Case& c) {
  const fuzz::PlainSettings settings = fuzz::plainSettings(defaults(c));
  const fuzz::PlainEstimate plain = fuzz::plainEstimate(support::column(c.samples), settings);
  ToFEstimate e;
  for (const float f : plain.freqs) {
    e.Distances.push_back(
        static_cast<double>(fuzz::toDistance(f, static_cast<float>(c.spacing_Hz))));
    e.TimesOfFlight.push_back(e.Distances.back() / exactSpeedOfLight_mps);
  }
  return e;
}

void checkCase(const Case& c, const ToFEstimate& e) {
  checkTimes(e);
  checkNumberOfPaths(c, e);
  if (c.spacing_Hz > 0 && c.samples.size() > 1 && fuzz::allWithin(c.samples, fuzz::moderate)) {
    checkPlaces(c, e);
  }
  if (c.samples.size() < 2 && c.forced == 1) {
    require(std::isnan(e.Distances.at(0)), "no phase step: NaN");
  }
}

void checkAnyCase(FuzzedDataProvider& data) {
  const Case c = anyCase(data);
  const Case other = anyCase(data);
  const fuzz::Samples before = c.samples;
  const ToFEstimate e = MUSIC::estimateToF(c.record(), c.forced);
  checkCase(c, e);
  requireSame(e, plainEstimate(c), "the plain estimator");
  checkCase(other, MUSIC::estimateToF(other.record(), other.forced));
  requireSame(e, MUSIC::estimateToF(c.record(), c.forced), "the same call again");
  require(fuzz::sameList(before, c.samples), "the samples are read only");
}

/// With the count forced, except for the closed form, which has one path.
void checkBenignChannel(FuzzedDataProvider& data) {
  const fuzz::BenignChannel channel = fuzz::benignChannel(data);
  const auto N = static_cast<int>(channel.samples.size());
  support::ReferenceSettings settings = support::referenceDefaults(N);
  settings.forcedCount = channel.numPaths;
  const support::ReferenceEstimate expected =
      support::referenceEstimate(support::toDouble(channel.samples), settings);
  const bool closedForm = channel.numPaths == 1;
  if (!closedForm && !fuzz::isDecided(expected)) {
    return;
  }
  const CSI csi = {312500, static_cast<std::uint16_t>(N), channel.samples.data()};
  const ToFEstimate e = MUSIC::estimateToF(csi, static_cast<unsigned char>(channel.numPaths));
  std::vector<double> found;
  for (const double t : e.TimesOfFlight) {
    found.push_back(t * csi.SubcarrierSpacing);
  }
  // BOUND for the closed form: N + 8 roundings of a turn.
  fuzz::requireSamePaths(
      found, expected.freqs,
      closedForm ? (N + 8) * 0x1p-24 : fuzz::pathTolerance(settings.fineResolution));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  if (data.ConsumeIntegralInRange(0, 7) == 7) {
    checkBenignChannel(data);
  } else {
    checkAnyCase(data);
  }
  return 0;
}
