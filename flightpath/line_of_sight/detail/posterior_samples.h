#pragma once

#include <optional>
#include <span>
#include <vector>

#include "flightpath/likelihood/delay_window.h"
#include "flightpath/line_of_sight/detail/delay_posterior.h"

namespace flightpath {

/// The posterior's density at points as dense as it is narrow, and what follows from it. Frequencies in
/// periods, ascending; without bounds they leave the period where the density reaches over its ends.
class PosteriorSamples {
 public:
  /// bounds  where answers must lie, some roundings wide at least; empty: anywhere in the period
  PosteriorSamples(DelayPosterior& posterior, const std::optional<DelayWindow>& bounds,
                   double coarseStep);

  /// Samples it around the delays that a coarse search found.
  void sample(std::span<const double> coarse);

  /// Of the delay, given a direct path.
  double mean() const { return mean_; }
  double deviation() const { return deviation_; }

  /// Below which the delay lies with this probability.
  double quantile(double probability) const;

  /// Where the density with a direct path is highest.
  double mode() const;

  /// The logarithms of the integrals over the delay.
  double logDirect() const { return logDirect_; }
  double logAll() const { return logAll_; }

 private:
  using Point = DelayPosterior::Point;

  bool isSame(double a, double b) const;
  void insert(double frequency);
  void climb();
  void spread();
  bool splitNext();
  bool extend(bool upwards);
  double needOf(std::size_t interval) const;
  double width(std::size_t interval) const;
  double chord(std::size_t interval, double Point::*value) const;
  std::size_t best() const;
  bool isGap(std::size_t interval) const;
  void refine();
  double interpolate(std::size_t interval, double share, double Point::*value) const;
  double tangent(std::size_t point, double Point::*value) const;
  double fineWidth(std::size_t i) const;
  void integrate();
  double logIntegral(double Point::*value) const;

  DelayPosterior& posterior_;
  std::optional<DelayWindow> bounds_;
  double step_;
  double narrowest_;  // interval that is halved
  std::vector<Point> points_;
  std::vector<Point> fine_;
  std::vector<double> densities_;  // at the fine points, given a direct path, normalised
  double mean_ = 0.0;
  double deviation_ = 0.0;
  double logDirect_ = 0.0;
  double logAll_ = 0.0;
};

}  // namespace flightpath
