#include "flightpath/music/detail/fine_search.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>

#include "flightpath/rules/search_grids.h"
#include "flightpath/runtime/detail/conversion.h"
#include "flightpath/runtime/detail/view.h"
#include "flightpath/spectrum/detail/steering_spectrum.h"
#include "flightpath/toolbox/reductions.h"
#include "flightpath/toolbox/sets.h"

namespace flightpath {
namespace {

using coder::array;

/// flags(j) := whether grid(j) is a candidate of the coarse frequency.
void flagNear(std::span<const float> grid, float coarse, float coarseResolution,
              array<unsigned char, 2>& flags) {
  flags.set_size(1, static_cast<std::int32_t>(grid.size()));
  std::ranges::transform(grid, flags.begin(), [=](float g) -> unsigned char {
    return coarseResolution > std::fabs(g - coarse) ? 1 : 0;
  });
}

/// The smallest number of candidates that any coarse frequency has; 0 where there is none.
std::int32_t fewestCandidates(const array<float, 1>& coarse, std::span<const float> grid,
                              float coarseResolution) {
  array<unsigned char, 2> flags;
  array<double, 1> counts;
  counts.set_size(coarse.numel);
  std::ranges::transform(coarse, counts.begin(), [&](float frequency) {
    flagNear(grid, frequency, coarseResolution, flags);
    return std::accumulate(flags.begin(), flags.end(), 0.0);
  });
  return truncateWithin(coder::internal::minimum(counts), 0,
                        static_cast<std::int32_t>(grid.size()));
}

/// chosen := the grid points of the first flags that are set, as many as chosen has room for. Each
/// search starts behind the flag that the last one found.
void takeFlagged(std::span<const float> grid, array<unsigned char, 2>& flags,
                 std::span<float> chosen) {
  int searched = 0;
  for (float& point : chosen) {
    array<unsigned char, 2> rest;
    rest.data = flags.data + searched;
    rest.numel = rest.capacity = flags.numel - searched;
    rest.size[0] = 1;
    rest.size[1] = rest.numel;
    int position = 0;
    int found[2];
    coder::eml_find(rest, &position, found);
    searched += position;
    point = grid[static_cast<std::size_t>(searched) - 1];
  }
}

}  // namespace

void evenCandidates(const array<float, 1>& coarse, float coarseResolution, float fineResolution,
                    std::int32_t M, array<float, 2>& candidates) {
  array<float, 2> offsets;
  const std::int32_t largest = coarse.numel == 0 ? 1 : std::max(M, coarse.numel);
  fineOffsets(coarseResolution, fineResolution, largest, offsets);
  candidates.set_size(offsets.numel, coarse.numel);
  for (std::int32_t k = 0; k < coarse.numel; ++k) {
    std::ranges::transform(offsets, column(candidates, k).begin(),
                           [p = coarse[k]](float offset) { return offset + p; });
  }
}

void gridCandidates(const array<float, 1>& coarse, std::span<const float> grid,
                    float coarseResolution, array<float, 2>& candidates) {
  candidates.set_size(fewestCandidates(coarse, grid, coarseResolution), coarse.numel);
  array<unsigned char, 2> flags;
  for (std::int32_t k = 0; k < coarse.numel; ++k) {
    flagNear(grid, coarse[k], coarseResolution, flags);
    takeFlagged(grid, flags, column(candidates, k));
  }
}

void refine(const array<creal32_T, 2>& noise, const array<float, 2>& candidates,
            array<float, 1>& pseudoSpectrum, array<float, 2>& freqs, array<float, 2>& peakValues) {
  const std::int32_t numPeaks = candidates.numel == 0 ? 0 : candidates.size[1];
  pseudoSpectrum.set_size(candidates.numel);
  freqs.set_size(1, numPeaks);
  peakValues.set_size(1, numPeaks);
  array<float, 1> values;
  for (std::int32_t k = 0; k < numPeaks; ++k) {
    steeringSpectrum(noise, column(candidates, k), values);
    std::ranges::copy(values,
                      pseudoSpectrum.begin() + static_cast<std::ptrdiff_t>(k) * values.numel);
    int best = 0;
    peakValues[k] = coder::internal::maximum(values, best);
    freqs[k] = candidates(best - 1, k);
  }
}

}  // namespace flightpath
