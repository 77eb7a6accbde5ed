#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

#include "flightpath/ranging/csi_rows.h"
#include "flightpath/ranging/detail/path_search.h"
#include "flightpath/ranging/detail/real_form.h"
#include "flightpath/ranging/detail/sample_block.h"
#include "flightpath/ranging/detail/signal_space.h"
#include "flightpath/ranging/path.h"
#include "flightpath/ranging/ranging_options.h"
#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"

namespace flightpath {

/// The steps of the two searches that an estimate with default settings takes, in normalised frequency.
///
/// Errors: std::invalid_argument where they, or the spacing, leave the range of single precision.
Resolutions defaultResolutions(int N, double spacing_Hz);

/// Makes one estimate after another, in its own work space. Each thread of a Ranger has one.
class MeasurementRanger {
 public:
  MeasurementRanger(int N, const RangingOptions& options);

  /// Estimates the rows from `firstRow` on, as many as share their paths. The paths stand in `paths()`
  /// until the next call.
  EstimateInfo estimate(const CsiRows& rows, std::size_t firstRow);

  std::span<const FoundPath> paths() const { return paths_; }

 private:
  bool closedFormIsForced() const;
  int solveSignals();
  void sumPhaseSteps();
  EstimateInfo reportClosedForm();
  void handSignalsToSearch(int numSolved);
  EstimateInfo reportSearch(int numSolved, int numSignals);

  RangingOptions options_;
  SampleBlock samples_;
  std::unique_ptr<RealForm> form_;
  SignalSpace space_;
  PathSearch search_;
  std::vector<double> re_, im_;   // one eigenvector of the covariance
  std::vector<creal32_T> steps_;  // products of neighbouring samples, for the closed form
  coder::array<float, 1> angles_;
  std::vector<FoundPath> paths_;
};

}  // namespace flightpath
