#include "flightpath/ranging/detail/row_layout.h"

#include <numeric>
#include <sstream>
#include <stdexcept>

namespace flightpath {
namespace {

template <class... Words>
[[noreturn]] void refuse(const char* who, const Words&... words) {
  std::ostringstream text;
  text << who << ": ";
  (text << ... << words);
  throw std::invalid_argument(text.str());
}

}  // namespace

std::size_t countRows(const CsiRows& rows, const char* who) {
  if (rows.samplesPerRow() == 0 && rows.numSamples() == 0) {
    return 0;
  }
  if (rows.samplesPerRow() == 0) {
    refuse(who, rows.numSamples(), " samples in rows of 0");
  }
  if (rows.rowStride() < rows.samplesPerRow()) {
    refuse(who, "a row stride of ", rows.rowStride(), " samples is shorter than a row of ",
           rows.samplesPerRow());
  }
  const std::size_t complete = rows.numSamples() / rows.rowStride();
  const std::size_t rest = rows.numSamples() % rows.rowStride();
  if (rest != 0 && rest != rows.samplesPerRow()) {
    refuse(who, rows.numSamples(), " samples are no whole number of rows of ", rows.samplesPerRow(),
           " with a stride of ", rows.rowStride());
  }
  const std::size_t numRows = complete + (rest == 0 ? 0 : 1);
  if (numRows > 0 && rows.data() == nullptr) {
    refuse(who, "the samples are null");
  }
  return numRows;
}

std::vector<int> tonesOfRow(const std::vector<int>& stated, std::size_t numSubcarriers) {
  if (!stated.empty()) {
    return stated;
  }
  std::vector<int> all(numSubcarriers);
  std::iota(all.begin(), all.end(), 0);
  return all;
}

std::size_t countEstimates(const CsiRows& rows, std::uint32_t numSubcarriers,
                           std::uint32_t snapshotsPerEstimate, const char* who) {
  if (rows.samplesPerRow() != numSubcarriers) {
    refuse(who, "rows of ", rows.samplesPerRow(), " samples, where ", numSubcarriers,
           " subcarriers are expected");
  }
  const std::size_t numRows = countRows(rows, who);
  if (numRows % snapshotsPerEstimate != 0) {
    refuse(who, numRows, " rows are no multiple of SnapshotsPerEstimate, ", snapshotsPerEstimate);
  }
  return numRows / snapshotsPerEstimate;
}

}  // namespace flightpath
