// Both peak finders, and the scan below them, beside the model that looks at runs of equal values.

#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/nonfinite.h"
#include "flightpath/toolbox/detail/peaks.h"
#include "flightpath/toolbox/peak_scan.h"
#include "flightpath/toolbox/peaks.h"
#include "fuzz/support/any_array.h"
#include "fuzz/support/any_column.h"
#include "fuzz/support/any_float.h"
#include "fuzz/support/identical.h"
#include "fuzz/support/require.h"
#include "tests/support/slow_peaks.h"

using coder::array;
using fuzz::identical;
using fuzz::require;

namespace {

constexpr std::size_t longest = 1000;  // the model's time grows with the square of the peaks
constexpr std::size_t block = 16;      // the smallest buffer of an array

struct Found {
  array<float, 1> pks;
  array<double, 1> locs;

  explicit Found(FuzzedDataProvider& in)
      : pks(fuzz::usedArray<array<float, 1>>(in)), locs(fuzz::usedArray<array<double, 1>>(in)) {}
};

struct Lists {
  array<int, 1> peaks;
  array<int, 1> infinite;
  array<int, 1> inflections;

  explicit Lists(FuzzedDataProvider& in)
      : peaks(fuzz::usedArray<array<int, 1>>(in)),
        infinite(fuzz::usedArray<array<int, 1>>(in)),
        inflections(fuzz::usedArray<array<int, 1>>(in)) {}
};

void requireScan(const array<float, 1>& y, const fuzz::Column& samples, Lists lists) {
  coder::scanPeaks(y, lists.peaks, lists.infinite, lists.inflections);
  require(identical(lists.peaks, support::slowFinitePeaks(samples)), "peaks of the scan");
  require(identical(lists.infinite, support::slowInfiniteSamples(samples)), "its infinities");
  require(identical(lists.inflections, support::slowInflections(samples)), "its inflections");
}

void requirePeaks(const Found& found, const std::vector<int>& positions,
                  const fuzz::Column& samples, const char* what) {
  fuzz::Column pks;
  for (const int p : positions) {
    pks.push_back(samples[static_cast<std::size_t>(p - 1)]);
  }
  require(identical(found.locs, std::vector<double>(positions.begin(), positions.end())), what);
  require(identical(found.pks, pks), what);
}

/// A limit near the number of peaks, or any float.
float anyLimit(FuzzedDataProvider& in) {
  return in.ConsumeBool() ? static_cast<float>(in.ConsumeIntegralInRange(-8, 80)) / 4.0F
                          : fuzz::anyFloat(in);
}

/// A height: that of a sample, or any float.
struct Height {
  bool ofSample;
  std::uint16_t sample;
  float other;

  explicit Height(FuzzedDataProvider& in)
      : ofSample(in.ConsumeBool()),
        sample(in.ConsumeIntegral<std::uint16_t>()),
        other(fuzz::anyFloat(in)) {}
  float among(const fuzz::Column& samples) const {
    return ofSample && !samples.empty() ? samples[sample % samples.size()] : other;
  }
};

void search(FuzzedDataProvider& in, flightpath::PeakWork& work, Found& kept) {
  Found tallest(in);
  Found leftmost(in);
  const Lists lists(in);
  const float maxPeaks = anyLimit(in);
  const Height height(in);
  const fuzz::Column samples = fuzz::anyColumn(in, longest, block);
  const float minHeight = height.among(samples);
  const array<float, 1> y = fuzz::tightColumn(samples);
  requireScan(y, samples, lists);

  coder::findpeaks(y, maxPeaks, tallest.pks, tallest.locs);
  const std::vector<int> all = support::slowPeaksAbove(samples, rtMinusInfF);
  const std::vector<int> byHeight = support::slowTallestFirst(samples, all);
  requirePeaks(tallest, support::atMost(maxPeaks, byHeight), samples, "tallest peaks");

  coder::findpeaks(y, maxPeaks, minHeight, leftmost.pks, leftmost.locs);
  const std::vector<int> above =
      support::atMost(maxPeaks, support::slowPeaksAbove(samples, minHeight));
  requirePeaks(leftmost, above, samples, "leftmost peaks");

  flightpath::leftmostPeaks(y, maxPeaks, minHeight, work, kept.pks, kept.locs);
  requirePeaks(kept, above, samples, "leftmost peaks in work space of an earlier search");
  require(identical(y, samples), "the samples stay");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider in(data, size);
  flightpath::PeakWork work;
  Found kept(in);
  for (int searches = in.ConsumeIntegralInRange(1, 3); searches > 0; --searches) {
    search(in, work, kept);
  }
  return 0;
}
