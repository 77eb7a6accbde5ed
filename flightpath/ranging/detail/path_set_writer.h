#pragma once

#include <cstddef>
#include <span>

#include "flightpath/ranging/detail/findings.h"
#include "flightpath/ranging/path_set.h"

namespace flightpath {

/// What is known of one estimate when its paths stand in `Findings`.
struct EstimateRecord {
  std::size_t numPaths = 0;
  std::size_t numCovariances = 0;
  EstimateInfo info;
};

/// Fills the columns of a `PathSet`, whose storage is reused.
class PathSetWriter {
 public:
  explicit PathSetWriter(PathSet& out) : out_(out) {}

  void clear(const RangingContext& context, std::size_t rowsPerEstimate);
  void setComplete(bool complete) { out_.complete_ = complete; }

  /// The records of further estimates, and then their paths.
  void append(std::span<const EstimateRecord> records);
  void append(const Findings& found);

 private:
  PathSet& out_;
};

}  // namespace flightpath
