#pragma once

#include <complex>
#include <optional>
#include <span>
#include <vector>

#include "flightpath/likelihood/likelihood_search.h"
#include "flightpath/likelihood/profile_interval.h"

namespace flightpath {

/// What a `LikelihoodFit` is told once.
///
/// falseAlarm  the probability that noise alone becomes a path, above 0 and below 1
/// modelError  power that no path explains, as a part of the strongest path's; 0: none
/// numPaths    forced number of paths; empty: by the test
/// earliest,   the window of normalised frequencies that answers may have, at most one period long;
/// latest      both empty: one period, centred on zero
/// snapshots   rows that share their delays
struct LikelihoodSettings {
  double falseAlarm = 1e-3;
  double modelError = 0.0;
  std::optional<int> numPaths;
  std::optional<double> earliest;
  std::optional<double> latest;
  int snapshots = 1;
};

/// One path of a fit.
///
/// frequency  normalised: delay times the distance of tones that are neighbours by index
/// deviation  of the frequency, by the Fisher information; infinite where an amplitude is zero
/// power      |amplitude|^2, the mean over the rows
struct LikelyPath {
  double frequency;
  double deviation;
  double power;
};

/// How well the paths of a fit explain the samples.
///
/// noisePower  RSS / (M N - K (M + 1/2)): per sample, of a tone of weight 1
/// structure   of the residual: 1 where it is white, more where it has what no path explains
/// weakest     the test of the path that is needed least, over its threshold: above 1
/// next        the test of the best path that was not taken, over its threshold: below 1
struct FitReport {
  double noisePower;
  double structure;
  double weakest;
  double next;
};

/// Maximum-likelihood delays of one measurement after another, in work space of its own.
///
///   y_mk = sum over paths of x_pm exp(-i 2 pi f_p c_k) + noise,   noise power ~ 1 / w_k
///
/// with c_k the tone's index less the mean index. All arithmetic is in double precision, in plain
/// loops: the same samples give the same bits, whatever was fitted before. `fit` allocates nothing.
///
/// No path, also with a forced count, where all samples are zero, or where there is but one tone;
/// noisePower is then 0 and the mean power. A forced count above
/// what the tones can carry, K (M + 1/2) < M N and K < N, is lowered to that; so it is where nothing
/// is left of the residual for a further path.
class LikelihoodFit {
 public:
  /// tones    indices, strictly increasing
  /// weights  one per tone, the inverse of its noise power; empty for all 1
  ///
  /// Errors: std::invalid_argument, naming what is wrong; std::bad_alloc.
  LikelihoodFit(std::span<const int> tones, std::span<const double> weights,
                const LikelihoodSettings& settings);
  LikelihoodFit(const LikelihoodFit&) = delete;
  LikelihoodFit& operator=(const LikelihoodFit&) = delete;

  /// re, im  the parts of the samples, `snapshots` rows of one sample per tone, one after the other:
  ///         finite, and the largest about 1
  /// start   normalised frequencies to start from; empty: from nothing
  void fit(std::span<const double> re, std::span<const double> im, std::span<const double> start);

  /// Of the last fit, in the order of their frequencies.
  std::span<const LikelyPath> paths() const { return paths_; }

  /// Of path p in a row, at the mean index: it belongs to the frequency that `paths` has, and not to an
  /// alias of it.
  std::complex<double> amplitude(int p, int row) const;

  /// Of the frequencies of paths p and q.
  double covariance(int p, int q) const;

  const FitReport& report() const { return report_; }

  /// The frequencies around that of path p that the samples do not rule out at this level, above 0 and
  /// below 1 (see `ProfileInterval`). They may leave the window.
  DelayInterval interval(int p, double level);

 private:
  bool load(std::span<const double> re, std::span<const double> im);
  void describe();
  void order();
  void findCovariance();

  ToneSet tones_;
  int numRows_;
  DelayWindow window_;
  LikelihoodSearch search_;
  ProfileInterval profile_;
  NormalEquations equations_;
  SplitRows samples_;
  std::vector<double> start_;
  PathFit* fit_ = nullptr;
  std::vector<int> order_;          // where the paths stand in the fit
  std::vector<double> periods_;     // from their aliases in the window to where the fit has them
  std::vector<double> covariance_;  // of the fit's frequencies
  std::vector<LikelyPath> paths_;
  FitReport report_ = {};
};

}  // namespace flightpath
