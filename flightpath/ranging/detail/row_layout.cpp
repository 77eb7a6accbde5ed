#include "flightpath/ranging/detail/row_layout.h"

#include <sstream>
#include <stdexcept>

namespace flightpath {
namespace {

template <class... Words>
[[noreturn]] void refuse(const char* caller, const Words&... words) {
  std::ostringstream text;
  text << caller << ": ";
  (text << ... << words);
  throw std::invalid_argument(text.str());
}

}  // namespace

/// Padding behind the last row may be there or not.
std::size_t countRows(const CsiRows& rows, const char* caller) {
  if (rows.samplesPerRow() == 0) {
    refuse(caller, "rows of 0 samples");
  }
  if (rows.rowStride() < rows.samplesPerRow()) {
    refuse(caller, "a row stride of ", rows.rowStride(), " samples is shorter than a row of ",
           rows.samplesPerRow());
  }
  const std::size_t complete = rows.numSamples() / rows.rowStride();
  const std::size_t rest = rows.numSamples() % rows.rowStride();
  if (rest != 0 && rest != rows.samplesPerRow()) {
    refuse(caller, rows.numSamples(), " samples are no whole number of rows of ",
           rows.samplesPerRow(), " with a stride of ", rows.rowStride());
  }
  const std::size_t numRows = complete + (rest == 0 ? 0 : 1);
  if (numRows > 0 && rows.data() == nullptr) {
    refuse(caller, "the samples are null");
  }
  return numRows;
}

std::size_t countEstimates(const CsiRows& rows, std::uint32_t numSubcarriers,
                           std::uint32_t snapshotsPerEstimate) {
  constexpr const char* caller = "Ranger::estimate";
  if (rows.samplesPerRow() != numSubcarriers) {
    refuse(caller, "rows of ", rows.samplesPerRow(), " samples, but this Ranger is for ",
           numSubcarriers, " subcarriers");
  }
  const std::size_t numRows = countRows(rows, caller);
  if (numRows % snapshotsPerEstimate != 0) {
    refuse(caller, numRows, " rows are no multiple of SnapshotsPerEstimate, ",
           snapshotsPerEstimate);
  }
  return numRows / snapshotsPerEstimate;
}

}  // namespace flightpath
