#include "flightpath/ranging/ranger.h"

#include <cmath>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "flightpath/ranging/detail/distance_scale.h"
#include "flightpath/ranging/detail/measurement_ranger.h"
#include "flightpath/ranging/detail/option_checks.h"
#include "flightpath/ranging/detail/path_set_writer.h"
#include "flightpath/ranging/detail/progress_pacer.h"
#include "flightpath/ranging/detail/row_layout.h"
#include "flightpath/ranging/detail/thread_team.h"
#include "flightpath/ranging/detail/tone_layout.h"
#include "flightpath/runtime/detail/float_environment.h"
#include "flightpath/toolbox/detail/blas.h"

namespace flightpath {
namespace {

constexpr char self[] = "Ranger";
constexpr std::uint32_t mostSubcarriers = 65535;

void check(std::uint32_t numSubcarriers, const RangingOptions& options) {
  requireWithin(numSubcarriers, 1, mostSubcarriers, "numSubcarriers", self);
  requireFiniteAboveZero(options.SubcarrierSpacing, "SubcarrierSpacing", self);
  requireAtMost(options.NumPaths.value_or(0), mostSubcarriers, "NumPaths", self);
  requireWithin(options.SnapshotsPerEstimate, 1, mostSnapshots, "SnapshotsPerEstimate", self);
  requireAtMost(options.Threads, mostThreads, "Threads", self);
}

/// What only one of the methods can do is not left out silently by the other.
void checkMusic(const RangingOptions& options, const ToneLayout& layout) {
  if (!layout.isEven) {
    const bool lacksTones = !options.Calibration.missingTones().empty();
    throw std::invalid_argument(
        "Ranger: Tones" + std::string(lacksTones ? " without those missing in Calibration" : "") +
        " has gaps, and Music wants evenly spaced tones: use MaximumLikelihood");
  }
  if (!options.Weights.empty() || options.ModelError || options.EarliestDistance ||
      options.LatestDistance || options.IntervalLevel) {
    throw std::invalid_argument(
        "Ranger: Weights, ModelError, EarliestDistance, LatestDistance and IntervalLevel want "
        "MaximumLikelihood");
  }
}

void checkLikelihood(const RangingOptions& options) {
  const double modelError_dB = options.ModelError.value_or(0.0);
  if (!(modelError_dB <= 0.0) || !std::isfinite(modelError_dB)) {
    throw std::invalid_argument("Ranger: ModelError is not a finite number of dB up to 0");
  }
  requireProbability(options.IntervalLevel.value_or(0.5), "IntervalLevel", self);
}

MeasuredTones checkedTones(std::uint32_t numSubcarriers, const RangingOptions& options) {
  check(numSubcarriers, options);
  MeasuredTones tones = measuredTones(numSubcarriers, options);
  if (options.Method == RangingMethod::Music) {
    checkMusic(options, layoutOf(tones));
  } else {
    checkLikelihood(options);
  }
  return tones;
}

RangingContext contextOf(std::uint32_t numSubcarriers, const RangingOptions& options,
                         const MeasuredTones& tones) {
  const ToneLayout layout = layoutOf(tones);
  const double spacing_Hz = options.SubcarrierSpacing * layout.stride;
  const double range_m = distancePerPeriod(spacing_Hz, options);
  const Resolutions steps = defaultResolutions(static_cast<int>(tones.indices.size()), spacing_Hz);
  const double step =
      options.Method == RangingMethod::Music ? static_cast<double>(steps.fine) : 0.0;
  return {numSubcarriers, options.SubcarrierSpacing, range_m, resolutionCell_m(layout, options),
          range_m * step};
}

}  // namespace

/// The threads of a Ranger, each with work space of its own, and the slots that they fill.
class Ranger::Batch {
 public:
  Batch(std::uint32_t numSubcarriers, const RangingOptions& options)
      : Batch(numSubcarriers, options, checkedTones(numSubcarriers, options)) {}

  void estimate(const CsiRows& rows, PathSet& out, const Progress& progress) {
    PathSetWriter writer(out);
    writer.clear(context_, snapshots_);
    const std::size_t total =
        countEstimates(rows, context_.NumSubcarriers, snapshots_, "Ranger::estimate");
    const blas::OneThread oneThread;
    try {
      ProgressPacer pacer(progress, total, team_.size());
      for (bool goOn = total > 0; goOn;) {
        const std::size_t slice = pacer.nextSlice();
        estimateSlice(rows, pacer.done(), slice);
        append(writer);
        goOn = pacer.finish(slice);
      }
      writer.setComplete(pacer.done() == total);
    } catch (...) {
      writer.clear(context_, snapshots_);
      throw;
    }
  }

 private:
  struct Worker {
    MeasurementRanger ranger;
    Findings found;
  };

  Batch(std::uint32_t numSubcarriers, const RangingOptions& options, const MeasuredTones& tones)
      : context_(contextOf(numSubcarriers, options, tones)),
        snapshots_(options.SnapshotsPerEstimate),
        team_(options.Threads) {
    for (unsigned i = 0; i < team_.size(); ++i) {
      workers_.push_back(
          std::make_unique<Worker>(Worker{MeasurementRanger(numSubcarriers, options, tones), {}}));
    }
  }

  /// Contiguous shares, in order: their results only have to be put one behind the other.
  void estimateSlice(const CsiRows& rows, std::size_t begin, std::size_t count) {
    records_.resize(count);
    team_.run([&](unsigned thread) {
      Worker& worker = *workers_[thread];
      worker.found.clear();
      const auto [first, last] = team_.shareOf(thread, count);
      for (std::size_t i = first; i < last; ++i) {
        records_[i] = estimateOne(worker, rows, (begin + i) * snapshots_);
      }
    });
  }

  static EstimateRecord estimateOne(Worker& worker, const CsiRows& rows, std::size_t firstRow) {
    Findings& found = worker.found;
    const std::size_t numPaths = found.paths.size();
    const std::size_t numCovariances = found.covariances_m2.size();
    const EstimateInfo info = worker.ranger.estimate(rows, firstRow, found);
    return {found.paths.size() - numPaths, found.covariances_m2.size() - numCovariances, info};
  }

  void append(PathSetWriter& writer) const {
    writer.append(records_);
    for (const auto& worker : workers_) {
      writer.append(worker->found);
    }
  }

  RangingContext context_;
  std::uint32_t snapshots_;
  ThreadTeam team_;
  std::vector<std::unique_ptr<Worker>> workers_;
  std::vector<EstimateRecord> records_;  // of the estimates in a slice
};

Ranger::Ranger(std::uint32_t numSubcarriers, const RangingOptions& options) {
  const DefaultFloatEnvironment environment;  // which the threads inherit
  batch_ = std::make_unique<Batch>(numSubcarriers, options);
}

Ranger::~Ranger() = default;
Ranger::Ranger(Ranger&&) noexcept = default;
Ranger& Ranger::operator=(Ranger&&) noexcept = default;

PathSet Ranger::estimate(CsiRows rows, const Progress& progress) {
  PathSet out;
  estimate(rows, out, progress);
  return out;
}

void Ranger::estimate(CsiRows rows, PathSet& out, const Progress& progress) {
  if (batch_ == nullptr) {
    out = {};
    throw std::logic_error("Ranger::estimate: this Ranger was moved from");
  }
  DefaultFloatEnvironment environment;
  batch_->estimate(rows, out, inCallersModes(progress, environment));
}

}  // namespace flightpath
