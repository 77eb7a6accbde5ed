#include "flightpath/likelihood/path_fit.h"

#include <algorithm>
#include <cassert>
#include <numbers>

namespace flightpath {
namespace {

constexpr double twoPi = 2.0 * std::numbers::pi;

/// What of a steering vector's energy must lie off those before it: two paths half a hundredth of a cell
/// apart. Nearer ones stand for no paths, but for the shape of one that the model does not know, with
/// amplitudes that cancel.
constexpr double leastShare = 1e-4;

}  // namespace

PathFit::PathFit(ToneSet& tones, int numRows, int mostPaths)
    : tones_(&tones),
      numRows_(numRows),
      mostPaths_(static_cast<std::size_t>(mostPaths)),
      f_(mostPaths_),
      steering_(mostPaths, tones.count()),
      residual_(numRows, tones.count()),
      gram_(mostPaths),
      first_(mostPaths_ * mostPaths_),
      second_(first_.size()),
      projected_(first_.size()),
      amplitudes_(mostPaths_ * static_cast<std::size_t>(numRows)),
      work_(mostPaths_),
      descent_(mostPaths_),
      curvature_(first_.size()) {}

void PathFit::setFrequencies(std::span<const double> f) {
  assert(f.size() <= mostPaths_);
  std::ranges::copy(f, f_.begin());
  numPaths_ = static_cast<int>(f.size());
}

void PathFit::addFrequency(double f) {
  assert(used() < mostPaths_);
  f_[used()] = f;
  ++numPaths_;
}

void PathFit::removeFrequency(int p) {
  std::copy(f_.begin() + p + 1, f_.begin() + numPaths_, f_.begin() + p);
  --numPaths_;
}

void PathFit::changeFrequency(int p, double f) { f_[static_cast<std::size_t>(p)] = f; }

bool PathFit::solve(const SplitRows& y) {
  for (int p = 0; p < numPaths_; ++p) {
    const std::size_t start = steering_.start(p);
    tones_->steer(f_[static_cast<std::size_t>(p)], &steering_.re[start], &steering_.im[start]);
  }
  formMoments();
  if (!gram_.factor(numPaths_, leastShare * tones_->moment(0))) {
    return false;
  }
  residualEnergy_ = 0.0;
  for (int m = 0; m < numRows_; ++m) {
    residualEnergy_ += fitRow(y, m);
  }
  return true;
}

void PathFit::formMoments() {
  const double* const c = tones_->centred().data();
  for (int p = 0; p < numPaths_; ++p) {
    gram_(p, p) = tones_->moment(0);
    first_[squareIndex(p, p)] = tones_->moment(1);
    second_[squareIndex(p, p)] = tones_->moment(2);
    for (int q = 0; q < p; ++q) {
      const Moments sums = conjugateMoments(tones_->count(), c, steering(p), steering(q));
      gram_(p, q) = sums.zeroth;
      first_[squareIndex(p, q)] = sums.first;
      first_[squareIndex(q, p)] = std::conj(sums.first);
      second_[squareIndex(p, q)] = sums.second;
    }
  }
}

/// Amplitudes and residual of one row. Returns the residual's energy.
double PathFit::fitRow(const SplitRows& y, int m) {
  const int n = tones_->count();
  const SplitVector samples = y.row(m);
  Complex* const x = amplitudes_.data() + amplitudeIndex(0, m);
  for (int p = 0; p < numPaths_; ++p) {
    x[p] = conjugateDot(n, steering(p), samples);
  }
  gram_.solveLower(numPaths_, x);
  gram_.solveUpper(numPaths_, x);
  double* const re = &residual_.re[residual_.start(m)];
  double* const im = &residual_.im[residual_.start(m)];
  std::copy_n(samples.re, n, re);
  std::copy_n(samples.im, n, im);
  for (int p = 0; p < numPaths_; ++p) {
    subtractMultiple(n, x[p], steering(p), re, im);
  }
  return energy(n, residual_.row(m));
}

double PathFit::meanPower(int p) const {
  double sum = 0.0;
  for (int m = 0; m < numRows_; ++m) {
    sum += std::norm(amplitude(p, m));
  }
  return sum / numRows_;
}

double PathFit::degreesLeft() const {
  return double(numRows_) * tones_->count() - numPaths_ * (numRows_ + 0.5);
}

double PathFit::lossWithout(int p) {
  return numRows_ * meanPower(p) / gram_.inverseDiagonal(numPaths_, p, work_.data());
}

int PathFit::weakest() {
  int found = 0;
  double least = std::numeric_limits<double>::infinity();
  for (int p = 0; p < numPaths_; ++p) {
    const double loss = lossWithout(p);
    if (loss < least) {
      least = loss;
      found = p;
    }
  }
  return found;
}

void PathFit::differentiate() {
  for (int p = 0; p < numPaths_; ++p) {
    descent_[static_cast<std::size_t>(p)] = descentOf(p);
  }
  projectDerivatives();
  for (int q = 0; q < numPaths_; ++q) {
    for (int p = q; p < numPaths_; ++p) {
      const double value = curvatureOf(p, q);
      curvature_[static_cast<std::size_t>(q) * used() + static_cast<std::size_t>(p)] = value;
      curvature_[static_cast<std::size_t>(p) * used() + static_cast<std::size_t>(q)] = value;
    }
  }
}

/// d_p = -i 2 pi c s_p, so that d_p^H r = i 2 pi sum of c conj(s_p) r.
double PathFit::descentOf(int p) const {
  double sum = 0.0;
  for (int m = 0; m < numRows_; ++m) {
    const Complex slope =
        conjugateDot(tones_->count(), tones_->centred().data(), steering(p), residual_.row(m));
    sum += conjugateTimes(amplitude(p, m), slope).imag();
  }
  return -twoPi * sum;
}

void PathFit::projectDerivatives() {
  for (int q = 0; q < numPaths_; ++q) {
    Complex* const column = &projected_[squareIndex(0, q)];
    std::copy_n(&first_[squareIndex(0, q)], numPaths_, column);
    gram_.solveLower(numPaths_, column);
  }
}

/// d_p^H P d_q / (2 pi)^2 = second moment - (L^-1 first moments)_p^H (L^-1 first moments)_q
double PathFit::curvatureOf(int p, int q) const {
  Complex derivatives = second_[squareIndex(p, q)];
  for (int l = 0; l < numPaths_; ++l) {
    derivatives -= conjugateTimes(projected_[squareIndex(l, p)], projected_[squareIndex(l, q)]);
  }
  Complex amplitudes;
  for (int m = 0; m < numRows_; ++m) {
    amplitudes += conjugateTimes(amplitude(p, m), amplitude(q, m));
  }
  return twoPi * twoPi * times(derivatives, amplitudes).real();
}

}  // namespace flightpath
