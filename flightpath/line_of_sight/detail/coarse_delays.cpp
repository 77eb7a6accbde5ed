#include "flightpath/line_of_sight/detail/coarse_delays.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>

#include "flightpath/ranging/detail/fast_decibels.h"
#include "flightpath/runtime/detail/wide_vectors.h"

namespace flightpath {
namespace {

/// Peaks so far below the first, in the logarithm of the posterior, are not looked at again: the grid
/// may miss a narrow one by some tens.
constexpr float reach = 60.0F;
constexpr std::size_t mostPeaks = 3;

/// The parts and the power of a transform, conjugated: the transform runs over the conjugate of the
/// samples, so that its points are delays.
FLIGHTPATH_WIDE_VECTORS void split(const creal32_T* z, int n, float* re, float* im, float* power) {
  for (int i = 0; i < n; ++i) {
    re[i] = z[i].re;
    im[i] = -z[i].im;
    power[i] = z[i].re * z[i].re + z[i].im * z[i].im;
  }
}

FLIGHTPATH_WIDE_VECTORS void addPower(float share, const float* power, int n, float* captured) {
  for (int i = 0; i < n; ++i) {
    captured[i] += share * power[i];
  }
}

/// out -= factor z
FLIGHTPATH_WIDE_VECTORS void subtract(float factorRe, float factorIm, const float* re,
                                      const float* im, int n, float* outRe, float* outIm) {
  for (int i = 0; i < n; ++i) {
    outRe[i] -= factorRe * re[i] - factorIm * im[i];
    outIm[i] -= factorRe * im[i] + factorIm * re[i];
  }
}

FLIGHTPATH_WIDE_VECTORS void addNorm(float factor, const float* re, const float* im, int n,
                                     float* captured) {
  for (int i = 0; i < n; ++i) {
    captured[i] += factor * (re[i] * re[i] + im[i] * im[i]);
  }
}

/// score := constant - slope 20 log10(energy - captured), scores := max(scores, score)
FLIGHTPATH_WIDE_VECTORS void raise(float constant, float slope, float energy, float least,
                                   const float* captured, int n, float* score, float* scores) {
  for (int i = 0; i < n; ++i) {
    const float left = energy - captured[i];
    score[i] = constant - slope * fastDecibels(left > least ? left : least);
    scores[i] = score[i] > scores[i] ? score[i] : scores[i];
  }
}

std::vector<std::vector<float>> planes(std::size_t count, std::size_t n) {
  return {count, std::vector<float>(n)};
}

}  // namespace

CoarseDelays::CoarseDelays(const ToneSet& tones, const TailGrid& grid, int numRows,
                           const DelayWindow& window)
    : tones_(tones),
      grid_(grid),
      numRows_(numRows),
      window_(window),
      zeros_(tones.rootsOfWeights().size()),
      transform_(tones.transformLength()),
      re_(transform_.size()),
      im_(transform_.size()),
      power_(transform_.size()),
      directRe_(transform_.size()),
      directIm_(transform_.size()),
      linearRe_(planes(TailGrid::numStrengths, transform_.size())),
      linearIm_(planes(TailGrid::numStrengths, transform_.size())),
      captured_(planes(grid.hypotheses().size(), transform_.size())),
      scores_(transform_.size()),
      highest_(grid.hypotheses().size()) {
  peaks_.reserve(mostPeaks + 1);
  frequencies_.reserve(mostPeaks);
}

/// vector^H D z for all delays, D the turn by a delay, into re_, im_ and power_.
void CoarseDelays::transform(SplitVector vector, SplitVector row) {
  const std::span<const int> positions = tones_.positions();
  std::vector<creal32_T>& in = transform_.in();
  for (std::size_t k = 0; k < positions.size(); ++k) {
    const double re = vector.re[k] * row.re[k] + vector.im[k] * row.im[k];
    const double im = vector.im[k] * row.re[k] - vector.re[k] * row.im[k];
    in[static_cast<std::size_t>(positions[k])] = {static_cast<float>(re), static_cast<float>(im)};
  }
  transform_.run();
  split(transform_.out().data(), static_cast<int>(re_.size()), re_.data(), im_.data(),
        power_.data());
}

void CoarseDelays::addDirectPath(std::size_t hypothesis, const float* re, const float* im) {
  const TailHypothesis& tail = grid_.hypotheses()[hypothesis];
  const double factor = grid_.shrinkage(TailGrid::numPriors - 1) / tail.information;
  addNorm(static_cast<float>(factor), re, im, static_cast<int>(re_.size()),
          captured_[hypothesis].data());
}

void CoarseDelays::addModel(const TailModel& model, std::size_t firstHypothesis, SplitVector row) {
  const int n = static_cast<int>(re_.size());
  const std::span strengths =
      std::span(grid_.hypotheses()).subspan(firstHypothesis, TailGrid::numStrengths);
  for (std::size_t s = 0; s < strengths.size(); ++s) {
    linearRe_[s] = directRe_;
    linearIm_[s] = directIm_;
  }
  for (int j = 0; j < model.rank(); ++j) {
    transform(model.vectors.row(j), row);
    const auto vector = static_cast<std::size_t>(j);
    for (std::size_t s = 0; s < strengths.size(); ++s) {
      if (vector >= strengths[s].shares.size()) {
        continue;
      }
      const Complex linear = strengths[s].linear[vector];
      addPower(static_cast<float>(strengths[s].shares[vector]), power_.data(), n,
               captured_[firstHypothesis + s].data());
      subtract(static_cast<float>(linear.real()), static_cast<float>(linear.imag()), re_.data(),
               im_.data(), n, linearRe_[s].data(), linearIm_[s].data());
    }
  }
  for (std::size_t s = 0; s < strengths.size(); ++s) {
    addDirectPath(firstHypothesis + s, linearRe_[s].data(), linearIm_[s].data());
  }
}

void CoarseDelays::addRow(SplitVector row) {
  transform({tones_.rootsOfWeights().data(), zeros_.data()}, row);
  directRe_ = re_;
  directIm_ = im_;
  addDirectPath(0, directRe_.data(), directIm_.data());
  std::size_t hypothesis = 1;
  for (const TailModel& model : grid_.models()) {
    addModel(model, hypothesis, row);
    hypothesis += TailGrid::numStrengths;
  }
}

/// The logarithm of the posterior at each point, of the best tail there.
void CoarseDelays::scorePoints(double energy) {
  constexpr double nepersPerDecibel = std::numbers::ln10 / 20.0;
  std::ranges::fill(scores_, -std::numeric_limits<float>::infinity());
  const double samples = static_cast<double>(tones_.count()) * numRows_;
  const double least = energy * std::numeric_limits<float>::epsilon();
  for (std::size_t h = 0; h < captured_.size(); ++h) {
    const TailHypothesis& tail = grid_.hypotheses()[h];
    raise(static_cast<float>(tail.logPrior - numRows_ * tail.logDeterminant),
          static_cast<float>(samples * nepersPerDecibel), static_cast<float>(energy),
          static_cast<float>(least), captured_[h].data(), static_cast<int>(scores_.size()),
          power_.data(), scores_.data());
    highest_[h] = *std::ranges::max_element(power_);
  }
}

void CoarseDelays::insertPeak(std::size_t point) {
  const auto lower = [&](std::size_t a, std::size_t b) { return scores_[a] > scores_[b]; };
  peaks_.insert(std::ranges::upper_bound(peaks_, point, lower), point);
  if (peaks_.size() > mostPeaks) {
    peaks_.pop_back();
  }
}

bool CoarseDelays::isInside(std::size_t point) const {
  return window_.contains(static_cast<double>(point) * step());
}

/// Points of the window that no neighbour within it exceeds: where the posterior rises towards an end,
/// the point beside it.
void CoarseDelays::findPeaks() {
  peaks_.clear();
  const std::size_t n = scores_.size();
  const auto exceeds = [&](std::size_t neighbour, std::size_t i) {
    return scores_[neighbour] > scores_[i] && isInside(neighbour);
  };
  for (std::size_t i = 0; i < n; ++i) {
    if (isInside(i) && !exceeds((i + n - 1) % n, i) && !exceeds((i + 1) % n, i)) {
      insertPeak(i);
    }
  }
}

std::span<const double> CoarseDelays::find(const SplitRows& whitened) {
  double energy = 0.0;
  for (std::vector<float>& plane : captured_) {
    std::ranges::fill(plane, 0.0F);
  }
  for (int row = 0; row < numRows_; ++row) {
    const SplitVector z = whitened.row(row);
    for (int k = 0; k < tones_.count(); ++k) {
      energy += z.re[k] * z.re[k] + z.im[k] * z.im[k];
    }
    addRow(z);
  }
  scorePoints(energy);
  findPeaks();
  frequencies_.clear();
  if (peaks_.empty()) {  // the window lies between two points
    frequencies_.push_back(window_.first() + 0.5 * window_.width());
  }
  for (const std::size_t point : peaks_) {
    if (scores_[point] >= scores_[peaks_.front()] - reach) {
      frequencies_.push_back(window_.wrap(static_cast<double>(point) * step()));
    }
  }
  return frequencies_;
}

}  // namespace flightpath
