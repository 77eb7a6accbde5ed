#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "flightpath/ranging/csi_rows.h"

namespace flightpath {

/// The samples of one estimate, in double, in a unit of their own.
///
/// A power of two brings the largest part of any sample to within 1 ... 2, exactly: powers of the
/// covariance, and products of samples, then stay far from the ends of their range, whatever the unit.
/// Where all samples are zero they stay so.
class SampleBlock {
 public:
  /// For this many rows of N samples.
  SampleBlock(int N, int numRows);

  /// Takes the rows from `first` on. False: a part is NaN or infinite, and nothing may be read.
  bool take(const CsiRows& rows, std::size_t first);

  int numRows() const { return numRows_; }

  /// The parts of one row, and of all rows, one after the other.
  std::span<const double> re(int row) const { return rowOf(re_, row); }
  std::span<const double> im(int row) const { return rowOf(im_, row); }
  std::span<const double> re() const { return re_; }
  std::span<const double> im() const { return im_; }

  /// Whether every row carries phase alone.
  bool isPhaseOnly() const;

  /// The power of two that the samples were multiplied by.
  double scale() const { return scale_; }

 private:
  std::span<const double> rowOf(const std::vector<double>& parts, int row) const {
    return std::span(parts).subspan(static_cast<std::size_t>(row) * N_, N_);
  }

  std::size_t N_;
  int numRows_;
  std::vector<double> re_, im_;
  double scale_ = 1.0;
};

}  // namespace flightpath
