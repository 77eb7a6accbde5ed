#pragma once

#include <complex>
#include <cstddef>
#include <span>
#include <vector>

#include "flightpath/ranging/calibration.h"
#include "flightpath/ranging/csi_rows.h"

namespace flightpath {

/// The samples of one estimate, in double, in a unit of their own, with the receiver divided out.
///
/// A power of two brings the largest part of any sample to within 1 ... 2, exactly: powers of the
/// covariance, and products of samples, then stay far from the ends of their range, whatever the unit.
/// Where all samples are zero they stay so.
class SampleBlock {
 public:
  /// For this many rows of N samples. With a calibration, the block has its tones alone.
  SampleBlock(int N, int numRows, const Calibration& calibration = {});

  /// Takes the rows from `first` on. False: a part of a tone that is kept is NaN or infinite, and
  /// nothing may be read.
  bool take(const CsiRows& rows, std::size_t first);

  int numRows() const { return numRows_; }

  /// The parts of one row, and of all rows, one after the other.
  std::span<const double> re(int row) const { return rowOf(re_, row); }
  std::span<const double> im(int row) const { return rowOf(im_, row); }
  std::span<const double> re() const { return re_; }
  std::span<const double> im() const { return im_; }

  /// Whether every row carries phase alone.
  bool isPhaseOnly() const { return isPhaseOnly_; }

  /// The power of two that the samples were multiplied by.
  double scale() const { return scale_; }

 private:
  std::span<const double> rowOf(const std::vector<double>& parts, int row) const {
    return std::span(parts).subspan(static_cast<std::size_t>(row) * positions_.size(),
                                    positions_.size());
  }
  void markPhaseOnly();
  void rescale();
  void correct();

  std::vector<std::size_t> positions_;  // in a row of the caller's
  std::vector<std::complex<double>> corrections_;
  int numRows_;
  std::vector<double> re_, im_;
  double scale_ = 1.0;
  bool isPhaseOnly_ = false;
};

}  // namespace flightpath
