#include "fuzz/support/plain_estimator.h"

#include <cblas.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <span>
#include <stdexcept>

#include "flightpath/runtime/scalar.h"
#include "flightpath/spectrum/estimator.h"
#include "flightpath/spectrum/fft_spectrum.h"
#include "flightpath/spectrum/steering_spectrum.h"
#include "flightpath/toolbox/reductions.h"
#include "fuzz/support/plain_signal_count.h"
#include "tests/support/builders.h"
#include "tests/support/slow_peaks.h"

namespace fuzz {
namespace {

using coder::array;

/// The whole part of a count that may be any float, limited to what there is; NaN is the least.
int limited(float count, int least, int most) {
  if (!(count > static_cast<float>(least))) {
    return least;
  }
  return count >= static_cast<float>(most) ? most : static_cast<int>(count);
}

/// Columns first ... last - 1, conjugated where asked for.
array<creal32_T, 2> columns(const array<creal32_T, 2>& E, int first, int last, bool conjugated) {
  array<creal32_T, 2> part;
  part.set_size(E.size[0], last - first);
  for (int k = first; k < last; ++k) {
    for (int i = 0; i < E.size[0]; ++i) {
      const creal32_T z = E(i, k);
      part(i, k - first) = conjugated ? creal32_T{z.re, -z.im} : z;
    }
  }
  return part;
}

array<creal32_T, 2> noiseColumns(const array<creal32_T, 2>& E, float s) {
  const int M = E.size[1];
  const float next = s + 1.0F;
  const int first = next > static_cast<float>(M) ? M : limited(next, 1, M) - 1;
  return columns(E, first, M, true);
}

float phaseStep(creal32_T a, creal32_T b) {
  const float re = a.re * b.re + a.im * b.im;
  const float im = a.re * b.im - a.im * b.re;
  if (std::isnan(re) || std::isnan(im)) {
    return std::numeric_limits<float>::quiet_NaN();
  }
  if (std::isinf(re) && std::isinf(im)) {
    return std::atan2(im > 0.0F ? 1.0F : -1.0F, re > 0.0F ? 1.0F : -1.0F);
  }
  if (re == 0.0F) {
    return im == 0.0F ? 0.0F : im > 0.0F ? 1.5707964F : -1.5707964F;
  }
  return std::atan2(im, re);
}

/// At most 1024 samples, whose steps are added left to right.
float meanPhaseSlope(const array<creal32_T, 1>& x) {
  float sum = 0.0F;
  for (int k = 1; k < x.numel; ++k) {
    const float step = phaseStep(x[k - 1], x[k]);
    sum = k == 1 ? step : sum + step;
  }
  return -(sum / static_cast<float>(std::max(x.numel - 1, 0))) / 6.2831855F;
}

float deviation(const array<float, 1>& y, float mean) {
  if (y.numel < 2) {
    return y.numel == 1 && std::isfinite(y[0]) ? 0.0F : std::numeric_limits<float>::quiet_NaN();
  }
  std::vector<float> distances;
  for (const float v : y) {
    distances.push_back(std::fabs(v - mean));
  }
  return cblas_snrm2(y.numel, distances.data(), 1) / std::sqrt(static_cast<float>(y.numel - 1));
}

std::vector<float> coarsePeaks(const array<creal32_T, 2>& E, float s, float coarseResolution) {
  const float L = coarsePoints(coarseResolution);
  if (L > 16777216.0F) {
    throw std::length_error("coarse search");
  }
  MUSICLib obj;
  array<creal32_T, 2> signal = columns(E, 0, limited(s, 0, E.size[1]), false);
  array<creal32_T, 2> energies;
  array<float, 1> axis;
  array<float, 1> y;
  evaluatePseudoSpectrumFFT(&obj, signal, y, axis, energies, L);
  for (float& v : y) {
    v = 20.0F * std::log10(v);
  }
  const float mean = coder::blockedSummation(y, y.numel) / static_cast<float>(y.numel);
  const std::vector<float> heights = support::toVector(y);
  // Without a dimension there is nothing to find, and an infinite spectrum is no peak.
  const float mostPeaks = E.numel == 0 ? 0.0F : s;
  std::vector<float> frequencies;
  for (const int p :
       support::atMost(mostPeaks, support::slowPeaksAbove(heights, mean + deviation(y, mean)))) {
    frequencies.push_back(axis[p - 1]);
  }
  std::ranges::sort(frequencies);
  return frequencies;
}

std::vector<float> evenOffsets(float coarse, float fine) {
  const float count = finePoints(coarse, fine);
  if (count >= 2147483648.0F) {
    throw std::length_error("fine search");
  }
  const int n = limited(count, 0, std::numeric_limits<int>::max());
  std::vector<float> offsets(static_cast<std::size_t>(n));
  const float delta = coarse / static_cast<float>(n - 1);
  for (int k = 0; k < n; ++k) {
    offsets[static_cast<std::size_t>(k)] = static_cast<float>(2 * k - (n - 1)) * delta;
  }
  if (n % 2 == 1) {
    offsets[static_cast<std::size_t>(n / 2)] = 0.0F;
  }
  if (n >= 1) {
    offsets.back() = coarse;
  }
  if (n >= 2) {
    offsets.front() = -coarse;
  }
  return offsets;
}

using Columns = std::vector<std::vector<float>>;

Columns evenColumns(const std::vector<float>& coarse, const PlainSettings& settings) {
  const std::vector<float> offsets =
      evenOffsets(settings.coarseResolution, settings.fineResolution);
  Columns Z;
  for (const float p : coarse) {
    Z.emplace_back();
    for (const float offset : offsets) {
      Z.back().push_back(offset + p);
    }
  }
  return Z;
}

Columns gridColumns(const std::vector<float>& coarse, const PlainSettings& settings) {
  Columns Z;
  std::size_t fewest = settings.grid.size();
  for (const float p : coarse) {
    Z.emplace_back();
    for (const float g : settings.grid) {
      if (settings.coarseResolution > std::fabs(g - p)) {
        Z.back().push_back(g);
      }
    }
    fewest = std::min(fewest, Z.back().size());
  }
  for (std::vector<float>& column : Z) {
    column.resize(fewest);
  }
  return Z;
}

/// NaN is passed over; the first of equals; the first element where all are NaN.
std::size_t positionOfLargest(std::span<const float> values) {
  std::size_t best = 0;
  for (std::size_t k = 1; k < values.size(); ++k) {
    if (values[k] > values[best] || (std::isnan(values[best]) && !std::isnan(values[k]))) {
      best = k;
    }
  }
  return best;
}

std::vector<float> spectrumAt(const array<creal32_T, 2>& noise, const std::vector<float>& freqs) {
  array<float, 1> spectrum;
  evaluatePseudoSpectrum(noise, support::column(freqs), spectrum);
  return support::toVector(spectrum);
}

void searchByFFT(const array<creal32_T, 2>& E, const PlainSettings& settings, PlainEstimate& out) {
  const std::vector<float> coarse = coarsePeaks(E, out.numSignals, settings.coarseResolution);
  const Columns Z =
      settings.grid.empty() ? evenColumns(coarse, settings) : gridColumns(coarse, settings);
  const array<creal32_T, 2> noise = noiseColumns(E, out.numSignals);
  for (const std::vector<float>& column : Z) {
    if (column.empty()) {
      continue;
    }
    const std::vector<float> values = spectrumAt(noise, column);
    const std::size_t best = positionOfLargest(values);
    out.freqs.push_back(column[best]);
    out.peakValues.push_back(values[best]);
    out.scannedFreqs.insert(out.scannedFreqs.end(), column.begin(), column.end());
    out.pseudoSpectrum.insert(out.pseudoSpectrum.end(), values.begin(), values.end());
  }
}

void searchGrid(const array<creal32_T, 2>& E, const PlainSettings& settings, PlainEstimate& out) {
  out.scannedFreqs = settings.grid;
  out.pseudoSpectrum = spectrumAt(noiseColumns(E, out.numSignals), settings.grid);
  out.peakValuesAreAColumn = true;
  const std::vector<float>& y = out.pseudoSpectrum;
  const float mostPeaks = E.numel == 0 ? 0.0F : out.numSignals;
  const float lowest = -std::numeric_limits<float>::infinity();
  const std::vector<int> tallest = support::slowTallestFirst(y, support::slowPeaksAbove(y, lowest));
  for (const int p : support::atMost(mostPeaks, tallest)) {
    out.freqs.push_back(settings.grid[static_cast<std::size_t>(p - 1)]);
    out.peakValues.push_back(y[static_cast<std::size_t>(p - 1)]);
  }
}

/// What a matrix argument says where a row is wanted.
std::vector<float> asRow(const array<float, 2>& a) {
  const int n = std::min(a.size[1], a.numel);
  return {a.begin(), a.begin() + n};
}

}  // namespace

float toNormalisedFrequency(float distance_m, float spacing_Hz) {
  return (distance_m * spacing_Hz) / 299792458.0F;
}

float toDistance(float frequency, float spacing_Hz) {
  return (frequency / spacing_Hz) * 299792458.0F;
}

float coarsePoints(float coarseResolution) {
  return rt_powf_snf(2.0F, std::round(coder::b_log2(1.0F / coarseResolution)));
}

float finePoints(float coarseResolution, float fineResolution) {
  return 2.0F * coarseResolution / fineResolution + 1.0F;
}

PlainSettings plainSettings(const ToFEstimationParameters& p) {
  PlainSettings s;
  for (const float d : asRow(p.ScanningDistances)) {
    s.grid.push_back(toNormalisedFrequency(d, p.SubcarrierSpacing));
  }
  const std::vector<float> count = asRow(p.InputNumSignals);
  if (!count.empty()) {
    s.forcedCount = count.front();
  }
  s.forceClassic = p.ForceClassic != 0;
  s.allowPhaseSlope = p.OptPhaseSlopeForOneSignalCase != 0;
  s.uniformlySampled = p.MeasurementContinual != 0;
  const float defaultCoarse_m = 299792458.0F / (p.NumSubcarriers * p.SubcarrierSpacing) / 30.0F;
  const std::vector<float> coarse = asRow(p.CoarseResolution);
  const std::vector<float> fine = asRow(p.FineResolution);
  s.coarseResolution =
      toNormalisedFrequency(coarse.empty() ? defaultCoarse_m : coarse.front(), p.SubcarrierSpacing);
  s.fineResolution = toNormalisedFrequency(fine.empty() ? defaultCoarse_m / 50.0F : fine.front(),
                                           p.SubcarrierSpacing);
  return s;
}

PlainEstimate plainEstimate(const array<creal32_T, 1>& x, const PlainSettings& settings) {
  array<creal32_T, 2> E;
  const float counted = plainSignalCount(x, settings.uniformlySampled, E);
  PlainEstimate out;
  out.numSignals = settings.forcedCount.value_or(counted);
  const float s = out.numSignals;
  if (s == 1.0F && settings.allowPhaseSlope && !settings.forceClassic) {
    out.freqs = out.scannedFreqs = {meanPhaseSlope(x)};
    out.peakValues = out.pseudoSpectrum = {1.0F};
  } else if (settings.grid.empty() ||
             !(settings.forceClassic || static_cast<double>(s) >= 0.5 * E.size[1])) {
    searchByFFT(E, settings, out);
  } else {
    searchGrid(E, settings, out);
  }
  return out;
}

}  // namespace fuzz
