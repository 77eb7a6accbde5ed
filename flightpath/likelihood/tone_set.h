#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "flightpath/likelihood/complex_products.h"

namespace flightpath {

/// The tones that a receiver measures, and the steering vectors of paths over them.
///
///   s_k(f) = sqrt(w_k) exp(-i 2 pi f c_k),   c_k = (t_k - mean of t) / stride
///
/// t are the indices of the tones, w their weights, and the stride the greatest common divisor of the
/// distances between them: every delay is known up to a multiple of one period of f, which is 1. A
/// path's normalised frequency, per index, is f / stride.
///
/// c is split as 16 h + l with 0 <= l < 16, so that a steering vector takes one sine and cosine for
/// each group of 16 places that has tones, whatever lies between them, and one product per tone.
class ToneSet {
 public:
  /// tones    strictly increasing
  /// weights  one per tone, finite and above 0: the inverse of its noise power; empty for all 1
  ///
  /// Errors: std::invalid_argument, naming the position.
  ToneSet(std::span<const int> tones, std::span<const double> weights);

  int count() const { return static_cast<int>(centred_.size()); }
  int stride() const { return stride_; }

  /// From the first tone to the last, both included, in strides.
  int extent() const { return positions_.back() + 1; }

  /// Of a transform over all delays: a power of two, of at least four points per cell, at least 32.
  std::size_t transformLength() const;

  /// The resolution 1 / bandwidth.
  double cell() const { return 1.0 / extent(); }

  /// (t_k - t_0) / stride
  std::span<const int> positions() const { return positions_; }
  std::span<const double> centred() const { return centred_; }

  /// sqrt(w_k), where the weights are those given times `weightScale`.
  std::span<const double> rootsOfWeights() const { return roots_; }

  /// The power of two that brings the largest weight to within 1 ... 2.
  double weightScale() const { return weightScale_; }

  /// The sum of w c^power, power = 0, 1, 2.
  double moment(int power) const { return moments_[power]; }

  /// How many delays are as good as independent: the number of tones, had they no gaps. From the mean
  /// square bandwidth, 12 var(c) = N^2 - 1.
  double independentDelays() const;

  /// s(f), one element per tone.
  void steer(double f, double* re, double* im);

 private:
  void place(std::span<const int> tones);
  void weigh(std::span<const double> weights);

  int stride_ = 1;
  std::vector<int> positions_;
  std::vector<double> centred_;
  std::vector<double> roots_;
  double weightScale_ = 1.0;
  double moments_[3] = {};
  std::vector<double> groups_;  // c of the first place of each group
  std::vector<int> groupOf_;    // of each tone
  std::vector<Complex> turns_;  // exp(-i 2 pi f c) of each group's first place
};

}  // namespace flightpath
