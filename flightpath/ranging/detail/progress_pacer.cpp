#include "flightpath/ranging/detail/progress_pacer.h"

#include <algorithm>

namespace flightpath {

ProgressPacer::ProgressPacer(const Progress& progress, std::size_t total, std::size_t firstSlice)
    : progress_(progress), total_(total), slice_(progress ? firstSlice : total) {}

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
    slice_ = std::max<std::size_t>(slice_ / 2, 1);
  }
  sliceBegan_ = now;
  if (now - reported_ < interval) {
    return true;
  }
  reported_ = now;
  return progress_(done_, total_);
}

}  // namespace flightpath
