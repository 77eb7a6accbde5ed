#pragma once

#include <vector>

#include "flightpath/likelihood/complex_products.h"
#include "flightpath/likelihood/split_rows.h"
#include "flightpath/likelihood/tone_set.h"

namespace flightpath {

/// What a tail of one decay time does to the samples, in the frame of its onset: the covariance
///
///   R(k, l) = sqrt(w_k w_l) / (1 + i 2 pi (c_k - c_l) decay)
///
/// by its eigenvalues, largest first, and its eigenvectors u. A tail fills about as many delays as it
/// lasts cells: few of the eigenvalues count.
struct TailModel {
  double decay;  // in periods
  std::vector<double> eigenvalues;
  SplitRows vectors;
  std::vector<Complex> steered;  // u^H times the steering vector of the onset, sqrt(w_k)

  int rank() const { return static_cast<int>(eigenvalues.size()); }
};

/// leastEigenvalue  smaller ones are left out
///
/// Errors: std::bad_alloc; std::runtime_error where the eigen solver fails.
TailModel tailModel(const ToneSet& tones, double decay, double leastEigenvalue);

}  // namespace flightpath
