#pragma once

#include <span>
#include <vector>

#include "flightpath/likelihood/split_rows.h"
#include "flightpath/likelihood/tone_set.h"
#include "flightpath/line_of_sight/detail/tail_grid.h"

namespace flightpath {

/// The posterior of one estimate's delay, at one delay after the other, in double precision.
///
/// With z the whitened samples turned back by the delay, Q and the other terms those of a tail
/// (`TailHypothesis`), S rows and n tones, amplitudes and the noise's scale integrated out,
///
///   log p(delay, tail, direct path)     = log prior - S log det - S log(1 + g) - n S log(q1)
///   log p(delay, tail, no direct path)  = log prior - S log det               - n S log(q0)
///
///   q0 = sum over rows of z^H Q z,   q1 = q0 - sum over rows of |s^H Q z|^2 / s^H Q s g / (g + 1)
///
/// where the first is a mean over the priors of the amplitude (`TailGrid::priorVariance`).
class DelayPosterior {
 public:
  struct Point {
    double frequency;
    double logDirect;  // summed over the tails, with a direct path
    double logAll;     // and without, but for noise alone
  };

  /// tones, grid  must outlive this object
  DelayPosterior(ToneSet& tones, const TailGrid& grid, int numRows);

  /// The samples of the next estimate, not whitened, one row after the other.
  ///
  /// highest  `CoarseDelays::highest`: tails that have no chance are left out from the beginning
  void take(std::span<const double> re, std::span<const double> im, std::span<const float> highest);

  Point at(double frequency);

  /// Leaves out the tails that explained the last point so badly that they do not count near it.
  void leaveOutHopeless();

  /// log p of noise alone, whatever the delay.
  double logNoise() const;

  /// What is known of one tail at the last point.
  struct Term {
    double logDirect;
    double logTail;
    double energy;  // what path and tail leave, q1 without a prior
    double power;   // of the direct path, mean over the rows
  };
  std::span<const Term> terms() const { return terms_; }

  /// The residual of a row at the last point once a tail's path and tail are accounted for, whitened:
  /// Q^1/2 (z - a s).
  void whitenedResidual(std::size_t hypothesis, int row, SplitTarget out);

 private:
  void project(int row);
  void findNeededRanks();
  void evaluate(std::size_t hypothesis);
  Complex directOverTail(const TailHypothesis& tail, int row) const;
  double leastEnergy() const;
  double logOverPriors(double q0, double direct) const;

  ToneSet& tones_;
  const TailGrid& grid_;
  int numRows_;
  double samples_;  // n S
  SplitRows y_;
  double energy_ = 0.0;
  SplitRows steering_;             // one row
  SplitRows z_;                    // per row
  std::vector<Complex> direct_;    // per row, s^H z
  std::vector<SplitRows> across_;  // per model, its eigenvectors' elements side by side, per tone
  std::vector<SplitRows> onto_;    // per model, u_j^H z per row
  std::vector<char> isActive_;     // per hypothesis
  std::vector<int> neededRank_;    // per model, of the active hypotheses
  std::vector<Term> terms_;
};

}  // namespace flightpath
