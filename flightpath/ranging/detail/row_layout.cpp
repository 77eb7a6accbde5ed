#include "flightpath/ranging/detail/row_layout.h"

#include <sstream>
#include <stdexcept>

namespace flightpath {
namespace {

template <class... Words>
[[noreturn]] void refuse(const Words&... words) {
  std::ostringstream text;
  text << "estimate: ";
  (text << ... << words);
  throw std::invalid_argument(text.str());
}

/// Padding behind the last row may be there or not.
std::size_t countRows(const CsiRows& rows) {
  const std::size_t complete = rows.numSamples() / rows.rowStride();
  const std::size_t rest = rows.numSamples() % rows.rowStride();
  if (rest != 0 && rest != rows.samplesPerRow()) {
    refuse(rows.numSamples(), " samples are no whole number of rows of ", rows.samplesPerRow(),
           " with a stride of ", rows.rowStride());
  }
  return complete + (rest == 0 ? 0 : 1);
}

}  // namespace

std::size_t countEstimates(const CsiRows& rows, std::uint32_t numSubcarriers,
                           std::uint32_t snapshotsPerEstimate) {
  if (rows.samplesPerRow() != numSubcarriers) {
    refuse("rows of ", rows.samplesPerRow(), " samples, where ", numSubcarriers,
           " subcarriers are expected");
  }
  if (rows.rowStride() < rows.samplesPerRow()) {
    refuse("a row stride of ", rows.rowStride(), " samples is shorter than a row of ",
           rows.samplesPerRow());
  }
  const std::size_t numRows = countRows(rows);
  if (numRows > 0 && rows.data() == nullptr) {
    refuse("the samples are null");
  }
  if (numRows % snapshotsPerEstimate != 0) {
    refuse(numRows, " rows are no multiple of SnapshotsPerEstimate, ", snapshotsPerEstimate);
  }
  return numRows / snapshotsPerEstimate;
}

}  // namespace flightpath
