#include "flightpath/ranging/ranger.h"

#include <cmath>
#include <cstddef>
#include <stdexcept>
#include <utility>
#include <vector>

#include "flightpath/api/detail/distance.h"
#include "flightpath/api/detail/speed_of_light.h"
#include "flightpath/ranging/detail/measurement_ranger.h"
#include "flightpath/ranging/detail/progress_pacer.h"
#include "flightpath/ranging/detail/row_layout.h"
#include "flightpath/ranging/detail/thread_team.h"
#include "flightpath/runtime/detail/float_environment.h"
#include "flightpath/toolbox/detail/blas.h"

namespace flightpath {
namespace {

constexpr unsigned mostThreads = 1024;
constexpr std::uint32_t mostSubcarriers = 65535;

void check(std::uint32_t numSubcarriers, const RangingOptions& options) {
  if (numSubcarriers == 0 || numSubcarriers > mostSubcarriers) {
    throw std::invalid_argument("Ranger: numSubcarriers is not within 1 ... 65535");
  }
  if (!(options.SubcarrierSpacing > 0.0) || !std::isfinite(options.SubcarrierSpacing)) {
    throw std::invalid_argument("Ranger: SubcarrierSpacing is not a finite number above 0");
  }
  if (options.NumPaths.value_or(0) > mostSubcarriers) {
    throw std::invalid_argument("Ranger: NumPaths is above 65535");
  }
  if (options.SnapshotsPerEstimate == 0 || options.SnapshotsPerEstimate > mostSubcarriers) {
    throw std::invalid_argument("Ranger: SnapshotsPerEstimate is not within 1 ... 65535");
  }
  if (options.Threads > mostThreads) {
    throw std::invalid_argument("Ranger: Threads is above 1024");
  }
}

RangingContext contextOf(std::uint32_t numSubcarriers, double spacing) {
  const double range_m = exactSpeedOfLight_mps / spacing;
  const Resolutions steps = defaultResolutions(static_cast<int>(numSubcarriers), spacing);
  return {numSubcarriers, spacing, range_m, range_m / numSubcarriers,
          range_m * static_cast<double>(steps.fine)};
}

}  // namespace

/// The threads of a Ranger, each with work space of its own, and the slots that they fill.
class Ranger::Batch {
 public:
  Batch(std::uint32_t numSubcarriers, const RangingOptions& options)
      : context_(contextOf(numSubcarriers, options.SubcarrierSpacing)),
        snapshots_(options.SnapshotsPerEstimate),
        team_(options.Threads) {
    for (unsigned i = 0; i < team_.size(); ++i) {
      workers_.push_back(std::make_unique<Worker>(static_cast<int>(numSubcarriers), options));
    }
  }

  void estimate(const CsiRows& rows, PathSet& out, const Progress& progress) {
    clear(out);
    const std::size_t total = countEstimates(rows, context_.NumSubcarriers, snapshots_);
    blas::useOneThread();
    try {
      ProgressPacer pacer(progress, total, team_.size());
      for (bool goOn = total > 0; goOn;) {
        const std::size_t slice = pacer.nextSlice();
        estimateSlice(rows, pacer.done(), slice);
        append(slice, out);
        goOn = pacer.finish(slice);
      }
      out.complete_ = pacer.done() == total;
    } catch (...) {
      clear(out);
      throw;
    }
  }

 private:
  /// What one estimate found, beside its paths.
  struct Finding {
    std::size_t numPaths = 0;
    EstimateInfo info;
  };

  struct Worker {
    Worker(int N, const RangingOptions& options) : ranger(N, options) {}

    MeasurementRanger ranger;
    std::vector<FoundPath> found;
  };

  /// Contiguous shares, in order: their results only have to be put one behind the other.
  void estimateSlice(const CsiRows& rows, std::size_t begin, std::size_t count) {
    findings_.resize(count);
    team_.run([&](unsigned thread) {
      Worker& worker = *workers_[thread];
      worker.found.clear();
      const std::size_t last = count * (thread + 1) / team_.size();
      for (std::size_t i = count * thread / team_.size(); i < last; ++i) {
        const EstimateInfo info = worker.ranger.estimate(rows, (begin + i) * snapshots_);
        findings_[i] = {worker.ranger.paths().size(), info};
        worker.found.insert(worker.found.end(), worker.ranger.paths().begin(),
                            worker.ranger.paths().end());
      }
    });
  }

  void clear(PathSet& out) const {
    out.context_ = context_;
    out.complete_ = true;
    out.offsets_.assign(1, 0);
    out.distances_m_.clear();
    out.delays_s_.clear();
    out.peaks_dB_.clear();
    out.numSignals_.clear();
    out.outcomes_.clear();
  }

  void append(std::size_t count, PathSet& out) const {
    for (std::size_t i = 0; i < count; ++i) {
      out.offsets_.push_back(out.offsets_.back() + findings_[i].numPaths);
      out.numSignals_.push_back(findings_[i].info.NumSignals);
      out.outcomes_.push_back(findings_[i].info.Result);
    }
    const auto spacing_Hz = static_cast<float>(context_.SubcarrierSpacing);
    for (const auto& worker : workers_) {
      for (const FoundPath& path : worker->found) {
        const double distance = toDistance(path.frequency, spacing_Hz);
        out.distances_m_.push_back(distance);
        out.delays_s_.push_back(distance / exactSpeedOfLight_mps);
        out.peaks_dB_.push_back(path.peakValue);
      }
    }
  }

  RangingContext context_;
  std::uint32_t snapshots_;
  ThreadTeam team_;
  std::vector<std::unique_ptr<Worker>> workers_;
  std::vector<Finding> findings_;  // of the estimates in a slice
};

Ranger::Ranger(std::uint32_t numSubcarriers, const RangingOptions& options) {
  check(numSubcarriers, options);
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
  Progress inTheCallersModes;
  if (progress) {
    inTheCallersModes = [&](std::size_t done, std::size_t total) {
      return environment.callBack([&] { return progress(done, total); });
    };
  }
  batch_->estimate(rows, out, inTheCallersModes);
}

}  // namespace flightpath
