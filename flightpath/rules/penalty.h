#pragma once

namespace flightpath {

/// What the signal-count criterion charges for k signals among m eigenvalues: the number of real
/// parameters that k signals leave free.
///
///   smoothed    (2m - k + 1) k / 2   a forward-backward covariance is persymmetric: half as many
///   otherwise   (2m - k) k
///
/// Exact in double for every m that an array can hold.
///
/// Source: M. Wax and T. Kailath, Detection of signals by information theoretic criteria, IEEE
/// Trans. Acoust., Speech, Signal Process. 33(2), 1985.
inline double penalty(double k, double m, bool smoothed) {
  return smoothed ? (2.0 * m - k + 1.0) * k * 0.5 : (2.0 * m - k) * k;
}

}  // namespace flightpath
