#pragma once

#include <complex>
#include <cstddef>
#include <vector>

#include "flightpath/ranging/csi_rows.h"

namespace flightpath {

/// Measurements of one channel that differ in phase, power and noise, and some of which may be of
/// something else.
class ReferenceRows {
 public:
  /// Takes the rows that have something: not all zero, and finite in every tone that is finite in most
  /// of the rows. In the other tones they are taken as zero.
  explicit ReferenceRows(const CsiRows& rows, std::size_t numRows);

  /// How many are in use.
  std::size_t count() const { return rows_.size(); }

  /// Leaves out what is far from the others: whose part outside of the mean lies beyond 5 standard
  /// deviations above the median, by the median absolute deviation, and beyond twice the median.
  void dropOutliers();

  /// The strongest eigenvector of the sum of x x^H over the rows, each of unit length; in the phase of
  /// the first row.
  std::vector<std::complex<double>> mean() const;

 private:
  using Row = std::vector<std::complex<double>>;

  void clearDeadTones();
  void dropUnusable();
  std::vector<double> residuals() const;

  std::size_t numTones_;
  std::vector<Row> rows_;
};

}  // namespace flightpath
