#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "flightpath/likelihood/likelihood_fit.h"
#include "flightpath/ranging/csi_rows.h"
#include "flightpath/ranging/detail/findings.h"
#include "flightpath/ranging/detail/music_paths.h"
#include "flightpath/ranging/detail/sample_block.h"
#include "flightpath/ranging/detail/tone_layout.h"
#include "flightpath/ranging/path.h"
#include "flightpath/ranging/ranging_options.h"

namespace flightpath {

/// Makes one estimate after another, in its own work space. Each thread of a Ranger has one.
///
/// Maximum likelihood starts from the paths of MUSIC where it can: one row of evenly spaced tones. From
/// gaps, and from several rows, it starts from nothing: filling the gaps costs more, and is right less
/// often.
class MeasurementRanger {
 public:
  MeasurementRanger(std::uint32_t numSubcarriers, const RangingOptions& options,
                    const MeasuredTones& tones);

  /// Estimates the rows from `firstRow` on, as many as share their paths, and appends what it finds.
  EstimateInfo estimate(const CsiRows& rows, std::size_t firstRow, Findings& found);

 private:
  EstimateInfo reportMusic(Findings& found);
  EstimateInfo reportLikelihood(Findings& found);
  void startFromMusic();
  Path pathOfFit(std::size_t p);
  void reportCovariances(Findings& found) const;

  double spacing_Hz_;
  int stride_;
  double travel_;   // per metre of distance
  double range_m_;  // per period of neighbours by index
  double cell_m_;
  std::optional<double> intervalLevel_;
  SampleBlock samples_;
  std::unique_ptr<MusicPaths> music_;
  std::unique_ptr<LikelihoodFit> fit_;
  std::vector<double> start_;  // normalised frequencies
};

}  // namespace flightpath
