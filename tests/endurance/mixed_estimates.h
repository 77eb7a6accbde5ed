#pragma once

#include <flightpath/flightpath.h>

#include <memory>
#include <optional>
#include <random>
#include <vector>

/// Estimates of every kind and many sizes, one after the other, from noise that never repeats.
///
/// The number of subcarriers changes from call to call and runs through many more values than a plan
/// cache has slots: plans are made and destroyed all the time. Estimator objects live for some fifty
/// calls, Rangers for one batch.
class MixedEstimates {
 public:
  /// One call of the library. Returns how many measurements it estimated.
  int next();

 private:
  int drawSize();
  std::optional<unsigned char> nextForcedCount() const;
  std::vector<creal32_T> drawMeasurements(int N, int count);
  coder::array<creal32_T, 1> drawColumn(int N);
  MUSICLib& estimator();

  void byEntryPoint(int N);
  void inMetres(int N);
  void normalised(int N);
  static flightpath::RangingOptions byMusic();
  flightpath::RangingOptions byLikelihood(int N) const;
  int batch(int N, flightpath::RangingOptions options);

  std::mt19937_64 random_{5};
  unsigned long calls_ = 0;
  std::unique_ptr<MUSICLib> estimator_;
};
