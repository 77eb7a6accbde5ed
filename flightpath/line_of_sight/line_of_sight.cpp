#include "flightpath/line_of_sight/line_of_sight.h"

#include <cmath>
#include <cstddef>
#include <stdexcept>

#include "flightpath/line_of_sight/detail/direct_path_fit.h"
#include "flightpath/ranging/detail/distance_scale.h"
#include "flightpath/ranging/detail/option_checks.h"
#include "flightpath/ranging/detail/progress_pacer.h"
#include "flightpath/ranging/detail/row_layout.h"
#include "flightpath/ranging/detail/thread_team.h"
#include "flightpath/ranging/detail/tone_layout.h"
#include "flightpath/runtime/detail/float_environment.h"
#include "flightpath/toolbox/detail/blas.h"

namespace flightpath {
namespace {

constexpr char self[] = "LineOfSight";
constexpr std::uint32_t fewestSubcarriers = 4;
constexpr std::uint32_t mostSubcarriers = 4096;

/// In strides: the coarse search keeps some fifty arrays of four to eight times this length per thread.
constexpr int longestExtent = 1 << 16;

void check(std::uint32_t numSubcarriers, const LineOfSightOptions& options) {
  requireWithin(numSubcarriers, fewestSubcarriers, mostSubcarriers, "numSubcarriers", self);
  requireFiniteAboveZero(options.SubcarrierSpacing, "SubcarrierSpacing", self);
  requireWithin(options.SnapshotsPerEstimate, 1, mostSnapshots, "SnapshotsPerEstimate", self);
  requireAtMost(options.Threads, mostThreads, "Threads", self);
  requireFiniteAboveZero(options.LongestDecay, "LongestDecay", self);
  requireProbability(options.IntervalLevel, "IntervalLevel", self);
}

/// What a Ranger has too, for the rules that both share.
RangingOptions shared(const LineOfSightOptions& options) {
  RangingOptions same;
  same.SubcarrierSpacing = options.SubcarrierSpacing;
  same.SnapshotsPerEstimate = options.SnapshotsPerEstimate;
  same.Tones = options.Tones;
  same.Weights = options.Weights;
  same.Calibration = options.Calibration;
  same.RoundTrip = options.RoundTrip;
  same.EarliestDistance = options.EarliestDistance;
  same.LatestDistance = options.LatestDistance;
  same.IntervalLevel = options.IntervalLevel;
  return same;
}

void checkRange(const ToneSet& tones, const RangingOptions& options) {
  if (tones.extent() > longestExtent) {
    throw std::invalid_argument(
        "LineOfSight: the first and the last tone lie 2^16 strides apart or more");
  }
  const double range_m = distancePerPeriod(options.SubcarrierSpacing * tones.stride(), options);
  if (!std::isnormal(range_m)) {
    throw std::invalid_argument(
        "LineOfSight: SubcarrierSpacing gives a range that no double holds");
  }
  windowOf(options, range_m);
}

ToneSet toneSet(std::uint32_t numSubcarriers, const LineOfSightOptions& options) {
  check(numSubcarriers, options);
  const MeasuredTones tones = measuredTones(numSubcarriers, shared(options));
  if (tones.indices.size() < fewestSubcarriers) {
    throw std::invalid_argument("LineOfSight: the calibration leaves fewer than 4 tones");
  }
  ToneSet set(tones.indices, tones.weights);
  checkRange(set, shared(options));
  return set;
}

}  // namespace

/// The threads of a LineOfSight, each with work space of its own.
class LineOfSight::Batch {
 public:
  Batch(std::uint32_t numSubcarriers, const LineOfSightOptions& options)
      : Batch(numSubcarriers, options, toneSet(numSubcarriers, options)) {}

  void estimate(const CsiRows& rows, std::vector<DirectPath>& out, const Progress& progress) {
    out.clear();
    const std::size_t total =
        countEstimates(rows, numSubcarriers_, snapshots_, "LineOfSight::estimate");
    const blas::OneThread oneThread;
    try {
      ProgressPacer pacer(progress, total, team_.size());
      for (bool goOn = total > 0; goOn;) {
        const std::size_t slice = pacer.nextSlice();
        out.resize(pacer.done() + slice);
        estimateSlice(rows, out, pacer.done(), slice);
        goOn = pacer.finish(slice);
      }
    } catch (...) {
      out.clear();
      throw;
    }
  }

 private:
  Batch(std::uint32_t numSubcarriers, const LineOfSightOptions& options, const ToneSet& tones)
      : numSubcarriers_(numSubcarriers),
        snapshots_(options.SnapshotsPerEstimate),
        team_(options.Threads) {
    const double spacing_Hz = options.SubcarrierSpacing * tones.stride();
    const blas::OneThread oneThread;
    const auto grid = std::make_shared<const TailGrid>(tones, options.LongestDecay * spacing_Hz);
    for (unsigned i = 0; i < team_.size(); ++i) {
      fits_.push_back(std::make_unique<DirectPathFit>(numSubcarriers, tones, grid, shared(options),
                                                      options.AcceptPhaseOnly));
    }
  }

  void estimateSlice(const CsiRows& rows, std::vector<DirectPath>& out, std::size_t begin,
                     std::size_t count) {
    team_.run([&](unsigned thread) {
      const auto [first, last] = team_.shareOf(thread, count);
      for (std::size_t i = begin + first; i < begin + last; ++i) {
        out[i] = fits_[thread]->estimate(rows, i * snapshots_);
      }
    });
  }

  std::uint32_t numSubcarriers_;
  std::uint32_t snapshots_;
  ThreadTeam team_;
  std::vector<std::unique_ptr<DirectPathFit>> fits_;
};

LineOfSight::LineOfSight(std::uint32_t numSubcarriers, const LineOfSightOptions& options) {
  const DefaultFloatEnvironment environment;  // which the threads inherit
  batch_ = std::make_unique<Batch>(numSubcarriers, options);
}

LineOfSight::~LineOfSight() = default;
LineOfSight::LineOfSight(LineOfSight&&) noexcept = default;
LineOfSight& LineOfSight::operator=(LineOfSight&&) noexcept = default;

std::vector<DirectPath> LineOfSight::estimate(CsiRows rows, const Progress& progress) {
  std::vector<DirectPath> out;
  estimate(rows, out, progress);
  return out;
}

void LineOfSight::estimate(CsiRows rows, std::vector<DirectPath>& out, const Progress& progress) {
  if (batch_ == nullptr) {
    out.clear();
    throw std::logic_error("LineOfSight::estimate: this LineOfSight was moved from");
  }
  DefaultFloatEnvironment environment;
  batch_->estimate(rows, out, inCallersModes(progress, environment));
}

}  // namespace flightpath
