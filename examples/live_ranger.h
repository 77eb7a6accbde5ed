#pragma once

#include <flightpath/flightpath.h>

#include <array>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "csi_frame.h"
#include "sequence_count.h"

/// Turns datagrams into printed distances, and counts what is wrong with them.
///
/// Keeps a Ranger for as long as measurements are alike, and estimates those together that wait together.
class LiveRanger {
 public:
  /// capture: datagrams are the 64-tone open capture firmware's, with these tones
  LiveRanger(std::optional<CaptureTones> capture, bool roundTrip);

  void take(flightpath::Span<const std::uint8_t> datagram);

  /// Prints the answers to all that were taken and not yet answered.
  void answer();

  /// How many datagrams had nothing wrong.
  std::uint64_t numGood() const { return faults_[0]; }

  /// Prints what came, what did not, and what was refused.
  void report(double seconds) const;

 private:
  void changeRanger();

  std::optional<CaptureTones> capture_;
  CsiFrame frame_;
  flightpath::RangingOptions how_;
  std::optional<flightpath::Ranger> ranger_;
  std::vector<std::uint32_t> waiting_;  // their sequence numbers
  std::vector<std::complex<float>> rows_;
  flightpath::PathSet found_;
  SequenceCount sequences_;
  std::array<std::uint64_t, numFrameFaults> faults_ = {};
  std::uint64_t numLayouts_ = 0;
};
