#include "live_ranger.h"

#include <cstdio>

namespace {

constexpr unsigned captureSequenceBits = 16;
constexpr unsigned frameSequenceBits = 32;

unsigned long long number(std::uint64_t value) { return value; }

void print(std::uint32_t sequence, const flightpath::Estimate& estimate) {
  if (estimate.empty()) {
    std::printf("%10u  %10s  %13s  %5d  -\n", sequence, "-", "-", 0);
    return;
  }
  const flightpath::Path first = estimate[0];
  std::printf("%10u  %10.3f  %13.3f  %5zu  %s\n", sequence, first.Distance_m, first.Deviation_m,
              estimate.size(), toString(estimate.info().Quality));
}

}  // namespace

LiveRanger::LiveRanger(std::optional<CaptureTones> capture, bool roundTrip)
    : capture_(capture), sequences_(capture ? captureSequenceBits : frameSequenceBits) {
  how_.RoundTrip = roundTrip;
}

void LiveRanger::take(flightpath::Span<const std::uint8_t> datagram) {
  const FrameFault fault =
      capture_ ? parseCapture(datagram, *capture_, frame_) : parseFrame(datagram, frame_);
  ++faults_[static_cast<std::size_t>(fault)];
  if (fault != FrameFault::None) {
    return;
  }
  if (!ranger_ || how_.Tones != frame_.tones || how_.SubcarrierSpacing != frame_.spacing_Hz) {
    answer();
    changeRanger();
  }
  sequences_.take(frame_.sequence);
  waiting_.push_back(frame_.sequence);
  rows_.insert(rows_.end(), frame_.samples.begin(), frame_.samples.end());
}

void LiveRanger::changeRanger() {
  how_.Tones = frame_.tones;
  how_.SubcarrierSpacing = frame_.spacing_Hz;
  ranger_.emplace(static_cast<std::uint32_t>(how_.Tones.size()), how_);
  ++numLayouts_;
}

void LiveRanger::answer() {
  if (waiting_.empty()) {
    return;
  }
  ranger_->estimate({rows_, how_.Tones.size()}, found_);
  for (std::size_t i = 0; i < found_.size(); ++i) {
    print(waiting_[i], found_[i]);
  }
  rows_.clear();
  waiting_.clear();
}

void LiveRanger::report(double seconds) const {
  std::printf("# %llu packets in %.3f s, %llu lost, %llu late, %llu restarts, %llu layouts\n",
              number(numGood()), seconds, number(sequences_.lost), number(sequences_.late),
              number(sequences_.restarts), number(numLayouts_));
  for (std::size_t i = 1; i < numFrameFaults; ++i) {
    if (faults_[i] > 0) {
      std::printf("# refused: %llu %s\n", number(faults_[i]), toString(static_cast<FrameFault>(i)));
    }
  }
}
