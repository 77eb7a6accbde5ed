#include "flightpath/ranging/ranger.h"

#include <cmath>
#include <stdexcept>
#include <utility>

#include "flightpath/api/detail/distance.h"
#include "flightpath/api/detail/speed_of_light.h"
#include "flightpath/ranging/detail/measurement_ranger.h"
#include "flightpath/ranging/detail/thread_team.h"
#include "flightpath/runtime/detail/float_environment.h"
#include "flightpath/toolbox/detail/blas.h"

namespace flightpath {
namespace {

constexpr unsigned mostThreads = 1024;

void check(std::uint32_t numSubcarriers, const RangingOptions& options) {
  if (numSubcarriers == 0 || numSubcarriers > 65535) {
    throw std::invalid_argument("Ranger: numSubcarriers is not within 1 ... 65535");
  }
  if (!(options.SubcarrierSpacing > 0.0) || !std::isfinite(options.SubcarrierSpacing)) {
    throw std::invalid_argument("Ranger: SubcarrierSpacing is not a finite number above 0");
  }
  if (options.Threads > mostThreads) {
    throw std::invalid_argument("Ranger: Threads is above 1024");
  }
}

}  // namespace

/// The threads of a Ranger, each with work space of its own, and the slots that they fill.
class Ranger::Batch {
 public:
  Batch(std::uint32_t numSubcarriers, const RangingOptions& options)
      : N_(numSubcarriers),
        spacing_Hz_(static_cast<float>(options.SubcarrierSpacing)),
        team_(options.Threads) {
    for (unsigned i = 0; i < team_.size(); ++i) {
      workers_.push_back(std::make_unique<Worker>(static_cast<int>(numSubcarriers), options));
    }
  }

  void estimate(const creal32_T* csi, std::size_t count, PathSet& out) {
    if (csi == nullptr && count > 0) {
      throw std::invalid_argument("Ranger::estimate: csi is null");
    }
    blas::useOneThread();
    counts_.resize(count);
    // Contiguous shares, in order: their results only have to be put one behind the other.
    team_.run([&](unsigned thread) {
      const std::size_t first = count * thread / team_.size();
      const std::size_t last = count * (thread + 1) / team_.size();
      workers_[thread]->estimate(csi, N_, first, last, counts_);
    });
    gather(count, out);
  }

 private:
  struct Worker {
    Worker(int N, const RangingOptions& options) : ranger(N, options) {}

    void estimate(const creal32_T* csi, std::size_t N, std::size_t first, std::size_t last,
                  std::vector<std::pair<std::size_t, float>>& counts) {
      found.clear();
      for (std::size_t i = first; i < last; ++i) {
        const float numSignals = ranger.estimate(csi + i * N);
        counts[i] = {ranger.paths().size(), numSignals};
        found.insert(found.end(), ranger.paths().begin(), ranger.paths().end());
      }
    }

    MeasurementRanger ranger;
    std::vector<FoundPath> found;
  };

  void gather(std::size_t count, PathSet& out) const {
    out.Offsets.assign(1, 0);
    out.NumSignals.clear();
    for (std::size_t i = 0; i < count; ++i) {
      out.Offsets.push_back(out.Offsets.back() + counts_[i].first);
      out.NumSignals.push_back(counts_[i].second);
    }
    out.Distances.clear();
    out.TimesOfFlight.clear();
    out.PeakValues.clear();
    for (const auto& worker : workers_) {
      for (const FoundPath& path : worker->found) {
        const double distance = toDistance(path.frequency, spacing_Hz_);
        out.Distances.push_back(distance);
        out.TimesOfFlight.push_back(distance / exactSpeedOfLight_mps);
        out.PeakValues.push_back(path.peakValue);
      }
    }
  }

  std::size_t N_;
  float spacing_Hz_;
  ThreadTeam team_;
  std::vector<std::unique_ptr<Worker>> workers_;
  std::vector<std::pair<std::size_t, float>> counts_;  // paths and signals of each measurement
};

Ranger::Ranger(std::uint32_t numSubcarriers, const RangingOptions& options) {
  check(numSubcarriers, options);
  const DefaultFloatEnvironment environment;  // which the threads inherit
  batch_ = std::make_unique<Batch>(numSubcarriers, options);
}

Ranger::~Ranger() = default;
Ranger::Ranger(Ranger&&) noexcept = default;
Ranger& Ranger::operator=(Ranger&&) noexcept = default;

PathSet Ranger::estimate(const creal32_T* csi, std::size_t count) {
  PathSet out;
  estimate(csi, count, out);
  return out;
}

void Ranger::estimate(const creal32_T* csi, std::size_t count, PathSet& out) {
  if (batch_ == nullptr) {
    throw std::logic_error("Ranger::estimate: this Ranger was moved from");
  }
  const DefaultFloatEnvironment environment;
  batch_->estimate(csi, count, out);
}

}  // namespace flightpath
