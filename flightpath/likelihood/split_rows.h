#pragma once

#include <cstddef>
#include <vector>

#include "flightpath/likelihood/split_sums.h"

namespace flightpath {

/// The parts of a complex vector that is written.
struct SplitTarget {
  double* re;
  double* im;
};

/// Complex vectors of one length, one per row.
struct SplitRows {
  SplitRows(int numRows, int rowLength)
      : count(numRows),
        length(rowLength),
        re(static_cast<std::size_t>(numRows) * static_cast<std::size_t>(rowLength)),
        im(re.size()) {}

  std::size_t start(int row) const {
    return static_cast<std::size_t>(row) * static_cast<std::size_t>(length);
  }
  SplitVector row(int i) const { return {re.data() + start(i), im.data() + start(i)}; }
  SplitTarget target(int i) { return {re.data() + start(i), im.data() + start(i)}; }

  int count;
  int length;
  std::vector<double> re;
  std::vector<double> im;
};

}  // namespace flightpath
