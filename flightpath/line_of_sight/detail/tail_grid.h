#pragma once

#include <vector>

#include "flightpath/line_of_sight/detail/tail_model.h"

namespace flightpath {

/// One tail that may be behind the direct path: its strength, the power per sample over the noise, and
/// what the posterior needs of it. With the shares v_j = strength lambda_j / (1 + strength lambda_j) of
/// the tail's eigenvectors, the inverse of the covariance is Q = I - sum of v_j u_j u_j^H.
struct TailHypothesis {
  int model;  // -1: no tail
  double strength;
  double logPrior;
  double logDeterminant;        // of the covariance over the noise
  double information;           // s^H Q s of the direct path's steering vector
  std::vector<double> shares;   // as many of the eigenvectors as count at this strength
  std::vector<Complex> linear;  // v_j conj(u_j^H s): what u_j^H z takes from s^H Q z, negative
};

/// The tails that are considered: all strengths with all decay times, and none.
///
/// Decay times are the geometric row of seven from 0.3 cells to the longest: four of each double
/// the error. Strengths go by 10 dB, since the free scale of the noise fills the steps.
class TailGrid {
 public:
  static constexpr int numStrengths = 5;

  /// longestDecay  in periods; at least 3 cells are taken
  ///
  /// Errors: those of tailModel.
  TailGrid(const ToneSet& tones, double longestDecay);

  const std::vector<TailModel>& models() const { return models_; }

  /// No tail first, then all strengths of the first model, of the second and so on.
  const std::vector<TailHypothesis>& hypotheses() const { return hypotheses_; }

  /// The priors of the direct path's amplitude, given the noise's power: normal, with g times the variance
  /// that its estimate has, g = n, 100 n and 10,000 n alike. The first alone is the unit information
  /// prior, which would take a path that stands high above the noise for one in stronger noise.
  ///
  /// Several rows tell a weak path from one ray of the tail, by its power over all of them, and have
  /// g = n / 10 besides: without it answers come late by half a deviation and more. One row does not, and
  /// would be drawn early by it: 2.3 ns of error in place of 1.7 at K = 5 dB.
  static constexpr int numPriors = 4;
  static int firstPrior(int numRows) { return numRows > 1 ? 0 : 1; }
  double priorVariance(int i) const { return variances_[i]; }

  /// What such a prior leaves of the energy that a direct path takes from the samples, g / (g + 1).
  double shrinkage(int i) const { return variances_[i] / (variances_[i] + 1.0); }

 private:
  double variances_[numPriors];
  std::vector<TailModel> models_;
  std::vector<TailHypothesis> hypotheses_;
};

}  // namespace flightpath
