#include "flightpath/ranging/detail/progress_pacer.h"

#include <algorithm>

namespace flightpath {

Progress inCallersModes(const Progress& progress, DefaultFloatEnvironment& environment) {
  if (!progress) {
    return {};
  }
  return [&](std::size_t done, std::size_t total) {
    return environment.callBack([&] { return progress(done, total); });
  };
}

ProgressPacer::ProgressPacer(const Progress& progress, std::size_t total, std::size_t leastSlice)
    : progress_(progress),
      total_(total),
      leastSlice_(leastSlice),
      slice_(progress ? leastSlice : total) {}

std::size_t ProgressPacer::nextSlice() const { return std::min(slice_, total_ - done_); }

bool ProgressPacer::finish(std::size_t slice) {
  done_ += slice;
  if (done_ == total_) {
    return false;
  }
  const Clock::time_point now = Clock::now();
  const Clock::duration took = now - sliceBegan_;
  if (took < interval / 4) {
    slice_ *= 2;
  } else if (took > interval / 2) {
    slice_ = std::max(slice_ / 2, leastSlice_);
  }
  sliceBegan_ = now;
  if (now - reported_ < interval) {
    return true;
  }
  const bool goOn = progress_(done_, total_);
  reported_ = sliceBegan_ = Clock::now();  // the callback's own time is nobody's slice
  return goOn;
}

}  // namespace flightpath
