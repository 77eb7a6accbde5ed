#pragma once

#include <memory>
#include <span>

#include "flightpath/ranging/detail/real_form.h"
#include "flightpath/ranging/detail/signal_space.h"
#include "flightpath/ranging/detail/signals.h"

namespace flightpath {

/// The signals in a covariance whose real form is made: time and memory grow with N^2 and more, but at a
/// few hundred tones nothing is faster.
class FormedSignals final : public Signals {
 public:
  /// For `numRows` rows of N samples in subvectors of length L.
  FormedSignals(int N, int L, int numRows);

  int count(const SampleBlock& samples) override;
  int take(const SampleBlock& samples, int wanted) override;
  double value(int k) const override { return space_.value(k); }
  void eigenvector(int k, std::span<double> re, std::span<double> im) override;

 private:
  std::unique_ptr<RealForm> form_;
  SignalSpace space_;
};

}  // namespace flightpath
