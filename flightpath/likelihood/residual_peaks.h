#pragma once

#include <span>
#include <vector>

#include "flightpath/likelihood/delay_window.h"
#include "flightpath/likelihood/path_fit.h"
#include "flightpath/spectrum/detail/forward_transform.h"

namespace flightpath {

/// Where another path would lower the cost of a fit most.
///
///   fall(f) = sum over rows of |s(f)^H r_m|^2 / s(f)^H P s(f)
///
/// is what a path at f takes from the cost if the other delays stay, P the projector off the paths
/// that the fit has. Numerator and denominator, |s|^2 - |Q^H s|^2 for an orthonormal basis Q of these
/// paths, come from one transform per row and per path, on a grid of at least four points per cell.
class ResidualPeaks {
 public:
  struct Peak {
    double frequency;
    double fall;
  };

  /// tones  must outlive the search
  ///
  /// Errors: std::bad_alloc.
  ResidualPeaks(ToneSet& tones, int numRows, int mostPaths, const DelayWindow& window);

  /// The tallest peaks within the window, tallest first: one, or several where the tones leave high
  /// sidelobes. None where nothing is left.
  ///
  /// fit  a fit that was solved
  std::span<const Peak> find(const PathFit& fit);

  /// The periodogram's mean over its noise level, by its median, of the residual that `find` met last:
  /// 1 where the residual is white, more where it has structure that no path explains.
  double structure();

  /// Where a path can look nearly as strong as it is itself, as distances from it: none unless the
  /// tones lie in far blocks or leave aliases within the window.
  std::span<const double> sidelobes() const { return sidelobes_; }
  bool hasHighSidelobes() const { return !sidelobes_.empty(); }

 private:
  void orthonormalise(const PathFit& fit);
  void addSpectrum(SplitVector vector, std::vector<float>& powers);
  void findPointsInWindow();
  void findSidelobes();
  void insert(std::size_t point, float fall);
  double frequency(std::size_t point) const;

  ToneSet& tones_;
  int numRows_;
  DelayWindow window_;
  ForwardTransform transform_;
  std::vector<float> powers_;     // numerator
  std::vector<float> explained_;  // |Q^H s|^2
  std::vector<float> falls_;
  std::vector<float> sorted_;
  std::vector<char> inWindow_;
  SplitRows basis_;
  std::vector<double> sidelobes_;
  std::vector<Peak> peaks_;
};

}  // namespace flightpath
