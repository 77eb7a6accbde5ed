#pragma once

#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "flightpath/ranging/detail/path_search.h"
#include "flightpath/ranging/detail/sample_block.h"
#include "flightpath/ranging/detail/signals.h"
#include "flightpath/ranging/path.h"
#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"

namespace flightpath {

/// The steps of the two searches that an estimate with default settings takes, in normalised
/// frequency.
///
/// Errors: std::invalid_argument where they, or the spacing, leave the range of single precision.
Resolutions defaultResolutions(int N, double spacing_Hz);

/// The paths of one estimate after another by MUSIC, in work space of its own: what `estimateToF`
/// with default settings does, from the real form of the covariance, or from its products alone.
class MusicPaths {
 public:
  struct Settings {
    int numRows = 1;  // that share their paths
    std::optional<int> numPaths;
    bool phaseSlopeForOnePath = true;
    int longFrom = 280;  // from this N on the covariance is not formed
  };

  /// For rows of N samples, `spacing_Hz` apart.
  MusicPaths(int N, double spacing_Hz, const Settings& settings);

  /// The paths stand in `paths()` until the next call.
  EstimateInfo find(const SampleBlock& samples);

  std::span<const FoundPath> paths() const { return paths_; }

 private:
  bool closedFormIsForced() const;
  int solveSignals(const SampleBlock& samples);
  void sumPhaseSteps(const SampleBlock& samples);
  EstimateInfo answerInClosedForm(const SampleBlock& samples);
  void handSignalsToSearch(int numSolved);
  EstimateInfo search(int numSolved, int numSignals);

  Settings settings_;
  std::unique_ptr<Signals> signals_;
  PathSearch search_;
  std::vector<double> re_, im_;   // one eigenvector of the covariance
  std::vector<creal32_T> steps_;  // products of neighbouring samples, for the closed form
  coder::array<float, 1> angles_;
  std::vector<FoundPath> paths_;
};

}  // namespace flightpath
