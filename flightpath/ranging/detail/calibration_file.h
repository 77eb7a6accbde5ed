#pragma once

#include <iosfwd>

#include "flightpath/ranging/detail/calibration_record.h"

namespace flightpath {

/// The text of a calibration: docs/calibration.md has its format.
///
/// Errors: std::runtime_error where the stream does not take it all.
void writeCalibration(const CalibrationRecord& record, std::ostream& out);

/// What `writeCalibration` wrote.
///
/// Errors: std::runtime_error, naming the line.
CalibrationRecord readCalibration(std::istream& in);

}  // namespace flightpath
