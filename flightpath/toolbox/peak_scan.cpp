#include "flightpath/toolbox/peak_scan.h"

#include <cassert>
#include <cmath>
#include <cstddef>
#include <span>

#include "flightpath/runtime/nonfinite.h"

namespace {

using coder::array;

/// An output list of positions, sized for the worst case and trimmed at the end.
class PositionList {
 public:
  PositionList(array<int, 1>& positions, int most) : positions_(positions) {
    positions_.set_size(most);
  }
  void add(int position) { positions_[count_++] = position; }
  bool endsBefore(int position) const { return count_ == 0 || positions_[count_ - 1] < position; }
  void trim() { positions_.set_size(count_); }

 private:
  array<int, 1>& positions_;
  int count_ = 0;
};

/// The state of the scan between two samples. Runs of equal values count as one step.
class PeakScan {
 public:
  PeakScan(PositionList& peaks, PositionList& inflections)
      : peaks_(peaks), inflections_(inflections) {}

  /// Sample k (1-based) is +Inf, or a NaN, which breaks the curve in the same way.
  void takeNonFinite(int k) {
    if (runValue_ != rtInfF) {
      afterNonFinite_ = true;
      startUnrelatedRun(rtInfF, k);
    }
  }

  void takeFinite(float v, int k) {
    if (v == runValue_) {
      return;  // a plateau: its first sample stands for it
    }
    if (afterNonFinite_) {
      afterNonFinite_ = false;
      startUnrelatedRun(v, k);
    } else {
      step(v > runValue_ ? Direction::Rising : Direction::Falling, v, k);
    }
  }

  /// Passes the samples from index i on that go on as the last step went, and returns the index of the
  /// first that does not: most samples of a spectrum change nothing but where the run begins.
  int followSlope(std::span<const float> y, int i) {
    const auto n = static_cast<int>(y.size());
    const float* const v = y.data();
    const int first = i;
    if (direction_ == Direction::Rising) {
      while (i < n && v[i] > v[i - 1] && v[i] < rtInfF) {
        ++i;
      }
    } else if (direction_ == Direction::Falling) {
      while (i < n && v[i] < v[i - 1]) {
        ++i;
      }
    }
    if (i > first) {
      startRun(v[i - 1], i);
    }
    return i;
  }

  void finish(int n) {
    if (!afterNonFinite_ && inflections_.endsBefore(n)) {
      inflections_.add(n);
    }
  }

 private:
  enum class Direction { None, Rising, Falling };

  /// A run that has no slope to the one before it.
  void startUnrelatedRun(float v, int k) {
    if (runFirst_ != 0) {
      inflections_.add(runFirst_);
    }
    direction_ = Direction::None;
    startRun(v, k);
  }

  void step(Direction next, float v, int k) {
    if (direction_ != next) {
      inflections_.add(runFirst_);
      if (direction_ == Direction::Rising) {
        peaks_.add(runFirst_);
      }
      direction_ = next;
    }
    startRun(v, k);
  }

  void startRun(float v, int k) {
    runValue_ = v;
    runFirst_ = k;
  }

  PositionList& peaks_;
  PositionList& inflections_;
  float runValue_ = rtInfF;
  int runFirst_ = 0;  // 1-based; 0 before the first run
  Direction direction_ = Direction::None;
  bool afterNonFinite_ = true;
};

}  // namespace

namespace coder {

void scanPeaks(const array<float, 1>& y, array<int, 1>& peaks, array<int, 1>& infinite,
               array<int, 1>& inflections) {
  assert(&peaks != &infinite && &infinite != &inflections && &peaks != &inflections);
  PositionList peakList(peaks, y.numel);
  PositionList infiniteList(infinite, y.numel);
  PositionList inflectionList(inflections, y.numel);
  PeakScan scan(peakList, inflectionList);
  const std::span<const float> samples(y.data, static_cast<std::size_t>(y.numel));
  for (int i = 0; i < y.numel; i = scan.followSlope(samples, i + 1)) {
    const int k = i + 1;
    const float v = y[i];
    if (v == rtInfF) {
      infiniteList.add(k);
    }
    if (std::isnan(v) || v == rtInfF) {
      scan.takeNonFinite(k);
    } else {
      scan.takeFinite(v, k);
    }
  }
  scan.finish(y.numel);
  peakList.trim();
  infiniteList.trim();
  inflectionList.trim();
}

}  // namespace coder
