#pragma once

#include <cstdint>
#include <memory>

#include "flightpath/likelihood/tone_set.h"
#include "flightpath/line_of_sight/detail/coarse_delays.h"
#include "flightpath/line_of_sight/detail/delay_posterior.h"
#include "flightpath/line_of_sight/detail/posterior_samples.h"
#include "flightpath/line_of_sight/direct_path.h"
#include "flightpath/ranging/csi_rows.h"
#include "flightpath/ranging/detail/sample_block.h"
#include "flightpath/ranging/ranging_options.h"

namespace flightpath {

/// The window of answers, in periods of this range.
///
/// Errors: std::invalid_argument where it encloses nothing, or lies too far from zero.
DelayWindow windowOf(const RangingOptions& options, double range_m);

/// Makes one estimate after another, in its own work space. Each thread of a LineOfSight has one.
class DirectPathFit {
 public:
  /// grid     shared by all threads
  /// options  with the parts of a LineOfSight's that both have
  DirectPathFit(std::uint32_t numSubcarriers, const ToneSet& tones,
                std::shared_ptr<const TailGrid> grid, const RangingOptions& options,
                bool acceptPhaseOnly);
  DirectPathFit(const DirectPathFit&) = delete;
  DirectPathFit& operator=(const DirectPathFit&) = delete;

  /// Estimates from the rows from `firstRow` on, as many as share their delay.
  DirectPath estimate(const CsiRows& rows, std::size_t firstRow);

 private:
  bool whiten();
  DirectPath report();
  void reportTail(DirectPath& direct);
  double misfit(std::size_t hypothesis);

  ToneSet tones_;
  std::shared_ptr<const TailGrid> grid_;
  double travel_;   // per distance
  double range_m_;  // of one period of normalised frequency
  double intervalLevel_;
  bool acceptPhaseOnly_;
  DelayWindow window_;
  SampleBlock samples_;
  SplitRows whitened_;
  double unit_ = 1.0;  // times which they are what the samples' unit makes them
  CoarseDelays coarse_;
  DelayPosterior posterior_;
  PosteriorSamples density_;
  ForwardTransform transform_;
  SplitRows residual_;  // one row
  std::vector<float> powers_, work_;
};

}  // namespace flightpath
