#pragma once

#include <chrono>
#include <cstddef>

#include "flightpath/ranging/progress.h"
#include "flightpath/runtime/detail/float_environment.h"

namespace flightpath {

/// The callback, called in the modes of floating point that its caller has set; none where there is none.
///
/// progress, environment  must outlive what is returned
Progress inCallersModes(const Progress& progress, DefaultFloatEnvironment& environment);

/// Cuts a batch into slices between which its progress can be reported: few enough estimates
/// each to take a quarter to a half of the least time between two reports. Without a callback, all
/// at once.
///
/// How a batch is cut does not change the answers.
class ProgressPacer {
 public:
  /// The least time between two reports.
  static constexpr std::chrono::milliseconds interval{50};

  /// progress   must outlive this object
  /// leastSlice  estimates in the first slice and in the smallest, at least 1: as many as work at once
  ProgressPacer(const Progress& progress, std::size_t total, std::size_t leastSlice);

  /// How many of the estimates that are left to take next.
  std::size_t nextSlice() const;

  /// Counts a slice as done. False: all are done, or the callback asked to stop.
  bool finish(std::size_t slice);

  std::size_t done() const { return done_; }

 private:
  using Clock = std::chrono::steady_clock;

  const Progress& progress_;
  std::size_t total_;
  std::size_t leastSlice_;
  std::size_t slice_;
  std::size_t done_ = 0;
  Clock::time_point sliceBegan_ = Clock::now();
  Clock::time_point reported_ = sliceBegan_;
};

}  // namespace flightpath
