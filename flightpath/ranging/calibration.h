#pragma once

#include <complex>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <vector>

#include "flightpath/ranging/csi_rows.h"
#include "flightpath/runtime/export.h"

namespace flightpath {

struct CalibrationRecord;

/// What a receiver adds to every measurement, found at a known distance, and divided out afterwards.
///
/// A receiver's filters ripple over the tones, attenuate the edges of its band and delay everything. With
/// references of one path (a cable, or a line of sight without reflections) of length d,
///
///   x_k = g r_k exp(-i 2 pi t_k spacing d / c) + noise
///
/// where t_k are the indices of the tones and g is anything that differs from row to row in phase and
/// power. What the rows have in common, with the known path divided out, is the receiver's response r.
///
///   correction_k = 1 / r_k             makes the receiver flat
///   weight_k     = |r_k|^2             noise behind the division has the power 1 / |r_k|^2
///
/// r has the mean power 1 over the tones that are kept, so that corrected samples stay in the unit of
/// the measured ones; its overall phase is that of the first row that is used. The receiver's own delay
/// is a part of r: corrected distances are absolute.
///
///   const auto calibration = Calibration::measure({references, 64}, 312500, 3.0);  // a cable of 3 m
///   options.Calibration = calibration;
///   Ranger ranger(64, options);  // takes rows as measured
///
/// The noise of the references stays in r: n references of the SNR of the measurements make errors of
/// sqrt(1 + 1 / n) times those that exact corrections leave. A Ranger's deviations say so, since its
/// residual shows it; but this part is the same in all measurements, and their mean keeps it
/// (docs/calibration.md).
///
/// A value: copies share what was measured, and are cheap. Any number of threads may read one.
class FLIGHTPATH_API Calibration {
 public:
  /// None: nothing is divided out.
  Calibration();
  ~Calibration();
  Calibration(const Calibration&);
  Calibration& operator=(const Calibration&);

  /// From reference rows of one receiver.
  ///
  /// references         at least one row; each of N samples, 2 <= N <= 65535
  /// subcarrierSpacing  hertz from one index to the next, finite and above 0
  /// distance_m         d, metres of free space: a cable's length over its velocity factor; finite
  /// tones              the index of each sample of a row, strictly increasing, and no farther apart than a
  ///                    Ranger takes them; empty: 0 ... N - 1
  ///
  /// The response is the strongest eigenvector of the sum of x x^H over the rows, each of unit length:
  /// the mean of the rows, aligned in phase and amplitude, whichever of them comes first. Rows are not
  /// aligned in delay, which is the receiver's.
  ///
  /// Left out and counted as outliers are rows of zeros, rows with a sample that is not finite, and
  /// rows whose residual against the mean is more than 5 standard deviations (by the median absolute
  /// deviation) above the median, and above twice the median.
  ///
  /// Missing become the tones whose samples are not finite in most of the rows, and those whose power
  /// is below 1e-6 of the strongest tone's. A tone of noise alone is not that weak: leave guard tones
  /// out of the rows, or set them to zero.
  ///
  /// Takes 16 bytes per sample of the references besides, for the time of the call.
  ///
  /// Errors: std::invalid_argument, saying what came, for arguments that are not as stated, for rows
  /// that are null or no whole number of rows, where no row is usable, and where fewer than two tones
  /// are; std::bad_alloc.
  static Calibration measure(CsiRows references, double subcarrierSpacing, double distance_m,
                             const std::vector<int>& tones = {});

  /// Whether this is none; what follows is then 0, or without elements.
  bool empty() const;

  double subcarrierSpacing() const;

  /// How many samples a row has, those of missing tones too.
  std::uint32_t numSubcarriers() const;

  /// The indices of the tones that are kept, ascending. The following three have one element for each.
  const std::vector<int>& tones() const;

  /// Where a tone stands in a row.
  const std::vector<std::size_t>& positions() const;

  /// 1 / r
  const std::vector<std::complex<double>>& corrections() const;

  /// |r|^2, of mean 1.
  const std::vector<double>& weights() const;

  /// The indices of the tones that are left out, ascending.
  const std::vector<int>& missingTones() const;

  /// The receiver's own delay, seconds besides the known distance: that of the one path which comes
  /// nearest to r in the sense of least squares, within half of the unambiguous range to either side
  /// of zero. The corrections contain it.
  double delay_s() const;

  /// How many rows were given, and how many of these were left out.
  std::uint64_t numReferences() const;
  std::uint64_t numOutliers() const;

  /// As a small text, every number to the bit (docs/calibration.md), whatever the locale and the state
  /// of the stream. None is a text, too.
  ///
  /// Errors: std::runtime_error where the stream does not take it all; std::bad_alloc.
  void save(std::ostream& out) const;

  /// What `save` wrote, to the bit. Stops behind its last line: several may stand in one stream.
  ///
  /// Errors: std::runtime_error, naming the line, where the text is anything else, or ends early;
  /// std::bad_alloc. Memory is taken as lines are read, and not by what they promise.
  static Calibration load(std::istream& in);

 private:
  std::shared_ptr<const CalibrationRecord> record_;  // never null
};

}  // namespace flightpath
