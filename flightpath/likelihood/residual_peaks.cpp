#include "flightpath/likelihood/residual_peaks.h"

#include <algorithm>
#include <cmath>

#include "flightpath/likelihood/periodogram_structure.h"

namespace flightpath {
namespace {

/// A steering vector of which less than this lies off the paths of the fit is one of them.
constexpr float leastShare = 1e-3F;

/// From this sidelobe on, of the main lobe's power, the tallest peak alone is not to be trusted; a set
/// without gaps has 0.05, and random gaps stay below 0.2.
constexpr double highSidelobe = 0.3;
constexpr std::size_t mostPeaks = 4;

}  // namespace

ResidualPeaks::ResidualPeaks(ToneSet& tones, int numRows, int mostPaths, const DelayWindow& window)
    : tones_(tones),
      numRows_(numRows),
      window_(window),
      transform_(tones.transformLength()),
      powers_(transform_.size()),
      explained_(transform_.size()),
      falls_(transform_.size()),
      sorted_(transform_.size()),
      inWindow_(transform_.size()),
      basis_(mostPaths, tones.count()) {
  peaks_.reserve(mostPeaks + 1);
  findPointsInWindow();
  findSidelobes();
}

/// The transform's sum over exp(-i 2 pi j k / n) is s^H at minus j / n.
double ResidualPeaks::frequency(std::size_t point) const {
  return window_.wrap(-static_cast<double>(point) / static_cast<double>(transform_.size()));
}

/// A window that lies between two points has the nearer one to its middle: what it holds is the flank
/// of the same lobe.
void ResidualPeaks::findPointsInWindow() {
  const double middle = window_.first() + 0.5 * window_.width();
  std::size_t nearest = 0;
  double least = 1.0;
  bool any = false;
  for (std::size_t i = 0; i < transform_.size(); ++i) {
    const double f = frequency(i);
    inWindow_[i] = window_.contains(f) ? 1 : 0;
    any |= inWindow_[i] != 0;
    const double distance = cyclicDistance(f, middle);
    if (distance < least) {
      least = distance;
      nearest = i;
    }
  }
  if (!any) {
    inWindow_[nearest] = 1;
  }
}

/// Adds |s(f)^H vector|^2 on the grid; the vector carries the roots of the weights already.
void ResidualPeaks::addSpectrum(SplitVector vector, std::vector<float>& powers) {
  const std::span<const int> positions = tones_.positions();
  const std::span<const double> roots = tones_.rootsOfWeights();
  std::vector<creal32_T>& in = transform_.in();
  for (std::size_t k = 0; k < positions.size(); ++k) {
    in[static_cast<std::size_t>(positions[k])] = {static_cast<float>(roots[k] * vector.re[k]),
                                                  static_cast<float>(roots[k] * vector.im[k])};
  }
  transform_.run();
  transform_.addPowers(powers);
}

/// Looks at the transform of the weights: the inner product of steering vectors over their distance.
void ResidualPeaks::findSidelobes() {
  std::vector<double> zeros(tones_.rootsOfWeights().size());
  addSpectrum({tones_.rootsOfWeights().data(), zeros.data()}, powers_);
  const double high = highSidelobe * tones_.moment(0) * tones_.moment(0);
  const std::size_t n = powers_.size();
  for (std::size_t i = 1; i + 1 < n; ++i) {
    const double at = static_cast<double>(i) / static_cast<double>(n);
    const double distance = cyclicDistance(at, 0.0);
    const bool isPeak = powers_[i] >= powers_[i - 1] && powers_[i] > powers_[i + 1];
    if (distance > tones_.cell() && distance <= window_.width() && isPeak && powers_[i] > high) {
      sidelobes_.push_back(at < 0.5 ? at : at - 1.0);
    }
  }
}

/// S = Q L^H: Q from the factor of S^H S.
void ResidualPeaks::orthonormalise(const PathFit& fit) {
  const int n = tones_.count();
  for (int j = 0; j < fit.numPaths(); ++j) {
    double* const re = &basis_.re[basis_.start(j)];
    double* const im = &basis_.im[basis_.start(j)];
    std::copy_n(fit.steering(j).re, n, re);
    std::copy_n(fit.steering(j).im, n, im);
    for (int l = 0; l < j; ++l) {
      subtractMultiple(n, std::conj(fit.gram()(j, l)), basis_.row(l), re, im);
    }
    const double scale = 1.0 / fit.gram()(j, j).real();
    for (int k = 0; k < n; ++k) {
      re[k] *= scale;
      im[k] *= scale;
    }
  }
}

std::span<const ResidualPeaks::Peak> ResidualPeaks::find(const PathFit& fit) {
  std::ranges::fill(powers_, 0.0F);
  std::ranges::fill(explained_, 0.0F);
  for (int m = 0; m < numRows_; ++m) {
    addSpectrum(fit.residual().row(m), powers_);
  }
  orthonormalise(fit);
  for (int j = 0; j < fit.numPaths(); ++j) {
    addSpectrum(basis_.row(j), explained_);
  }
  const auto whole = static_cast<float>(tones_.moment(0));
  for (std::size_t i = 0; i < falls_.size(); ++i) {
    const float left = whole - explained_[i];
    falls_[i] = inWindow_[i] != 0 && left > leastShare * whole ? powers_[i] / left : 0.0F;
  }
  peaks_.clear();
  for (std::size_t i = 0; i < falls_.size(); ++i) {
    const std::size_t before = (i + falls_.size() - 1) % falls_.size();
    const std::size_t after = (i + 1) % falls_.size();
    if (falls_[i] > 0.0F && falls_[i] >= falls_[before] && falls_[i] > falls_[after]) {
      insert(i, falls_[i]);
    }
  }
  return peaks_;
}

/// Keeps the peaks in the order of their heights, equal ones as they come.
void ResidualPeaks::insert(std::size_t point, float fall) {
  const std::size_t most = hasHighSidelobes() ? mostPeaks : 1;
  if (peaks_.size() == most && !(fall > peaks_.back().fall)) {
    return;
  }
  const auto place = std::ranges::find_if(peaks_, [fall](const Peak& p) { return p.fall < fall; });
  peaks_.insert(place, {window_.nearest(frequency(point)), fall});
  peaks_.resize(std::min(peaks_.size(), most));
}

double ResidualPeaks::structure() { return structureOf(powers_, numRows_, sorted_); }

}  // namespace flightpath
