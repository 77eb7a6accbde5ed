#pragma once

#include <span>
#include <vector>

#include "flightpath/likelihood/hermitian_factor.h"
#include "flightpath/likelihood/split_rows.h"
#include "flightpath/likelihood/tone_set.h"

namespace flightpath {

/// The least-squares fit of paths of given delays to M rows of samples that share these delays.
///
///   y_m = S x_m + noise,   S = [s(f_1) ... s(f_K)],   x_m = (S^H S)^-1 S^H y_m,   r_m = y_m - S x_m
///
/// Samples and steering vectors carry the square roots of the weights. With the amplitudes projected
/// out, the cost RSS = sum |r_m|^2 is a function of the delays alone. Its descent and the Gauss-Newton
/// matrix in Kaufman's form are, with d_p = ds / df_p and P the projector off all s,
///
///   g_p  = Re sum over m of conj(x_pm) d_p^H r_m            (-1/2 of the derivative)
///   H_pq = Re( d_p^H P d_q  sum over m of conj(x_pm) x_qm )
///
/// so that H step = g, and step^T g is the fall of RSS that the quadratic predicts. All inner products
/// are sums over the tones with powers of c: O(M N K + N K^2) per fit.
///
/// Source: G. H. Golub, V. Pereyra, The differentiation of pseudo-inverses and nonlinear least squares
/// problems whose variables separate, SIAM J. Numer. Anal. 10(2), 1973; L. Kaufman, A variable
/// projection method for solving separable nonlinear least squares problems, BIT 15, 1975.
class PathFit {
 public:
  /// tones  must outlive the fit
  PathFit(ToneSet& tones, int numRows, int mostPaths);

  int numPaths() const { return numPaths_; }
  std::span<const double> frequencies() const { return {f_.data(), used()}; }
  void setFrequencies(std::span<const double> f);
  void addFrequency(double f);
  void removeFrequency(int p);
  void changeFrequency(int p, double f);

  /// The amplitudes and residuals at these delays. False, with nothing to be used, where two paths are
  /// the same numerically.
  bool solve(const SplitRows& y);

  /// Of the last `solve`: RSS, residuals, and amplitudes at c = 0.
  double residualEnergy() const { return residualEnergy_; }
  const SplitRows& residual() const { return residual_; }
  Complex amplitude(int p, int row) const { return amplitudes_[amplitudeIndex(p, row)]; }
  double meanPower(int p) const;

  /// Complex degrees of freedom that the fit leaves: M N - K (M + 1/2).
  double degreesLeft() const;
  double noisePower() const { return residualEnergy_ / degreesLeft(); }

  /// By how much RSS would grow were path p left out and the other delays kept: |x_p|^2 over the
  /// diagonal element of (S^H S)^-1.
  double lossWithout(int p);

  /// The path whose loss is least, of at least one path.
  int weakest();

  /// Gradient and H at the last `solve`.
  void differentiate();
  std::span<const double> descent() const { return {descent_.data(), used()}; }
  std::span<const double> curvature() const { return {curvature_.data(), used() * used()}; }

  SplitVector steering(int p) const { return steering_.row(p); }

  /// The factor of S^H S.
  const HermitianFactor& gram() const { return gram_; }

 private:
  std::size_t used() const { return static_cast<std::size_t>(numPaths_); }
  std::size_t amplitudeIndex(int p, int row) const {
    return static_cast<std::size_t>(row) * mostPaths_ + static_cast<std::size_t>(p);
  }
  std::size_t squareIndex(int p, int q) const {
    return static_cast<std::size_t>(q) * mostPaths_ + static_cast<std::size_t>(p);
  }
  void formMoments();
  double fitRow(const SplitRows& y, int m);
  double descentOf(int p) const;
  void projectDerivatives();
  double curvatureOf(int p, int q) const;

  ToneSet* tones_;
  int numRows_;
  std::size_t mostPaths_;
  int numPaths_ = 0;
  std::vector<double> f_;
  SplitRows steering_;
  SplitRows residual_;
  double residualEnergy_ = 0.0;
  HermitianFactor gram_;
  std::vector<Complex> first_;      // sum of c conj(s_p) s_q, column by column
  std::vector<Complex> second_;     // sum of c^2 conj(s_p) s_q, lower triangle
  std::vector<Complex> projected_;  // L^-1 times the first moments
  std::vector<Complex> amplitudes_;
  std::vector<Complex> work_;
  std::vector<double> descent_;
  std::vector<double> curvature_;
};

}  // namespace flightpath
