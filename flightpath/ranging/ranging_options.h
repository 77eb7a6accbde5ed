#pragma once

#include <cstdint>
#include <optional>

namespace flightpath {

/// The settings of a `Ranger`, fixed when it is made.
///
/// SubcarrierSpacing     hertz, finite and above 0
/// NumPaths              how many paths to search for, at most 65535; empty: estimate it
/// SnapshotsPerEstimate  how many consecutive rows share their paths and give one answer (the antennas
///                       of a receiver, packets in quick succession), 1 ... 65535
/// PhaseSlopeForOnePath  the closed form where there is exactly one path
/// Threads               how many work on a batch, at most 1024; 0: one per core
struct RangingOptions {
  double SubcarrierSpacing = 0;
  std::optional<std::uint32_t> NumPaths;
  std::uint32_t SnapshotsPerEstimate = 1;
  bool PhaseSlopeForOnePath = true;
  unsigned Threads = 1;
};

}  // namespace flightpath
