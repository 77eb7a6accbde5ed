#pragma once

#include <cstdint>

/// What the sequence numbers of datagrams say of those that did not come.
///
/// The numbers wrap after `bits` bits. A step ahead of 2 to `farthest` leaves that many less one lost; a step
/// back of at most `farthest` is a late one, which was counted as lost before; anything farther is a sender
/// that began anew. The same number again belongs to the same packet (another antenna).
class SequenceCount {
 public:
  explicit SequenceCount(unsigned bits) : range_(std::int64_t{1} << bits) {}

  void take(std::uint32_t sequence) {
    const std::int64_t step = started_ ? stepTo(sequence) : 1;
    started_ = true;
    if (step < 0 && step >= -farthest) {
      ++late;
      return;  // what comes next is still to be held against the latest
    }
    if (step > farthest || step < 0) {
      ++restarts;
    } else if (step > 1) {
      lost += static_cast<std::uint64_t>(step - 1);
    }
    latest_ = sequence;
  }

  std::uint64_t lost = 0;
  std::uint64_t late = 0;
  std::uint64_t restarts = 0;

 private:
  static constexpr std::int64_t farthest = 1024;

  /// Within half the range to either side.
  std::int64_t stepTo(std::uint32_t sequence) const {
    std::int64_t step = (std::int64_t{sequence} - std::int64_t{latest_}) % range_;
    if (step < 0) {
      step += range_;
    }
    return step < range_ / 2 ? step : step - range_;
  }

  std::int64_t range_;
  bool started_ = false;
  std::uint32_t latest_ = 0;
};
