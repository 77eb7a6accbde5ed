#pragma once

#include <span>
#include <vector>

#include "flightpath/likelihood/delay_window.h"
#include "flightpath/likelihood/split_rows.h"
#include "flightpath/likelihood/tone_set.h"
#include "flightpath/line_of_sight/detail/tail_grid.h"
#include "flightpath/spectrum/detail/forward_transform.h"

namespace flightpath {

/// Looks over all delays, in single precision on a grid of at least four points per cell, for those
/// where the direct path may lie. All that the posterior needs at a delay are inner products of the
/// samples with the steering vector and with each tail's eigenvectors: one transform each gives them at
/// all points.
class CoarseDelays {
 public:
  /// tones, grid  must outlive this object
  ///
  /// Errors: std::bad_alloc.
  CoarseDelays(const ToneSet& tones, const TailGrid& grid, int numRows, const DelayWindow& window);

  /// The tallest peaks of the posterior in the window, tallest first, those within reach of the first; its
  /// centre where no point of the grid is in it. At least one.
  ///
  /// whitened  samples times the roots of the weights
  std::span<const double> find(const SplitRows& whitened);

  /// The logarithm of each tail's posterior where it is highest, as the grid of the last search saw it.
  /// Peaks much narrower than the grid stand out lower here than they are.
  std::span<const float> highest() const { return highest_; }

  /// The distance of two points, in periods.
  double step() const { return 1.0 / static_cast<double>(transform_.size()); }

 private:
  void addRow(SplitVector row);
  void transform(SplitVector vector, SplitVector row);
  void addModel(const TailModel& model, std::size_t firstHypothesis, SplitVector row);
  void addDirectPath(std::size_t hypothesis, const float* re, const float* im);
  void scorePoints(double energy);
  bool isInside(std::size_t point) const;
  void findPeaks();
  void insertPeak(std::size_t point);

  const ToneSet& tones_;
  const TailGrid& grid_;
  int numRows_;
  DelayWindow window_;
  std::vector<double> zeros_;  // the steering vector's imaginary parts
  ForwardTransform transform_;
  std::vector<float> re_, im_, power_;                   // of one transform
  std::vector<float> directRe_, directIm_;               // of the steering vector
  std::vector<std::vector<float>> linearRe_, linearIm_;  // s^H Q z for each strength of a model
  std::vector<std::vector<float>> captured_;             // per hypothesis, energy that it explains
  std::vector<float> scores_;
  std::vector<float> highest_;
  std::vector<std::size_t> peaks_;
  std::vector<double> frequencies_;
};

}  // namespace flightpath
