#include "flightpath/line_of_sight/detail/delay_posterior.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "flightpath/runtime/detail/wide_vectors.h"

namespace flightpath {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

/// Below this, in the logarithm and beside the best, a tail adds nothing.
constexpr double hopeless = 25.0;

/// The same as a coarse grid sees it, which may miss what a narrow peak has above its neighbours. That
/// of a tail of some strength is as wide as the tail.
constexpr double hopelessOnTheGrid = 60.0;
constexpr double someStrength = 10.0;

/// onto(j) += conj(u(j)) z
inline void addConjTimes(const double* re, const double* im, double zRe, double zIm, int n,
                         double* ontoRe, double* ontoIm) {
  for (int j = 0; j < n; ++j) {
    ontoRe[j] += re[j] * zRe + im[j] * zIm;
    ontoIm[j] += re[j] * zIm - im[j] * zRe;
  }
}

/// The inner products of z with a model's first eigenvectors, side by side.
FLIGHTPATH_WIDE_VECTORS void projectOnto(const double* re, const double* im, std::ptrdiff_t stride,
                                         const double* zRe, const double* zIm, int numTones,
                                         int rank, double* ontoRe, double* ontoIm) {
  std::fill_n(ontoRe, rank, 0.0);
  std::fill_n(ontoIm, rank, 0.0);
  for (int k = 0; k < numTones; ++k) {
    addConjTimes(re + k * stride, im + k * stride, zRe[k], zIm[k], rank, ontoRe, ontoIm);
  }
}

SplitRows transposed(const SplitRows& rows) {
  SplitRows out(rows.length, rows.count);
  for (int i = 0; i < rows.count; ++i) {
    for (int k = 0; k < rows.length; ++k) {
      out.target(k).re[i] = rows.row(i).re[k];
      out.target(k).im[i] = rows.row(i).im[k];
    }
  }
  return out;
}

/// log(exp(a) + exp(b))
double logSum(double a, double b) {
  const double most = std::max(a, b);
  return most == -infinity ? most : most + std::log1p(std::exp(std::min(a, b) - most));
}

}  // namespace

DelayPosterior::DelayPosterior(ToneSet& tones, const TailGrid& grid, int numRows)
    : tones_(tones),
      grid_(grid),
      numRows_(numRows),
      samples_(static_cast<double>(tones.count()) * numRows),
      y_(numRows, tones.count()),
      steering_(1, tones.count()),
      z_(numRows, tones.count()),
      direct_(static_cast<std::size_t>(numRows)),
      isActive_(grid.hypotheses().size()),
      neededRank_(grid.models().size()),
      terms_(grid.hypotheses().size()) {
  for (const TailModel& model : grid.models()) {
    across_.push_back(transposed(model.vectors));
    onto_.emplace_back(numRows, model.rank());
  }
}

void DelayPosterior::take(std::span<const double> re, std::span<const double> im,
                          std::span<const float> highest) {
  std::ranges::copy(re, y_.re.begin());
  std::ranges::copy(im, y_.im.begin());
  energy_ = 0.0;
  for (int row = 0; row < numRows_; ++row) {
    for (int k = 0; k < tones_.count(); ++k) {
      const double root = tones_.rootsOfWeights()[static_cast<std::size_t>(k)];
      const double a = root * y_.row(row).re[k];
      const double b = root * y_.row(row).im[k];
      energy_ += a * a + b * b;
    }
  }
  const double best = *std::ranges::max_element(highest);
  for (std::size_t h = 0; h < isActive_.size(); ++h) {
    const bool isWeak = grid_.hypotheses()[h].strength < someStrength;
    isActive_[h] = isWeak || highest[h] > best - hopelessOnTheGrid ? 1 : 0;
  }
  findNeededRanks();
}

void DelayPosterior::findNeededRanks() {
  std::ranges::fill(neededRank_, 0);
  for (std::size_t h = 1; h < isActive_.size(); ++h) {
    if (isActive_[h] != 0) {
      const TailHypothesis& tail = grid_.hypotheses()[h];
      int& needed = neededRank_[static_cast<std::size_t>(tail.model)];
      needed = std::max(needed, static_cast<int>(tail.shares.size()));
    }
  }
}

double DelayPosterior::logNoise() const {
  return grid_.hypotheses().front().logPrior - samples_ * std::log(energy_);
}

/// z = y conj(s), s^H z and the eigenvectors' inner products, of one row.
void DelayPosterior::project(int row) {
  const SplitVector s = steering_.row(0);
  const SplitVector y = y_.row(row);
  const SplitTarget z = z_.target(row);
  Complex direct;
  for (int k = 0; k < tones_.count(); ++k) {
    z.re[k] = y.re[k] * s.re[k] + y.im[k] * s.im[k];
    z.im[k] = y.im[k] * s.re[k] - y.re[k] * s.im[k];
    direct += tones_.rootsOfWeights()[static_cast<std::size_t>(k)] * Complex(z.re[k], z.im[k]);
  }
  direct_[static_cast<std::size_t>(row)] = direct;
  for (std::size_t m = 0; m < across_.size(); ++m) {
    if (neededRank_[m] > 0) {
      const SplitTarget onto = onto_[m].target(row);
      projectOnto(across_[m].re.data(), across_[m].im.data(), across_[m].length, z.re, z.im,
                  tones_.count(), neededRank_[m], onto.re, onto.im);
    }
  }
}

/// What rounding leaves of an energy that vanishes.
double DelayPosterior::leastEnergy() const {
  return energy_ * std::numeric_limits<double>::epsilon();
}

/// s^H Q z of a row.
Complex DelayPosterior::directOverTail(const TailHypothesis& tail, int row) const {
  Complex linear = direct_[static_cast<std::size_t>(row)];
  for (std::size_t j = 0; j < tail.shares.size(); ++j) {
    const SplitVector onto = onto_[static_cast<std::size_t>(tail.model)].row(row);
    linear -= times(tail.linear[j], {onto.re[j], onto.im[j]});
  }
  return linear;
}

/// The logarithm of the mean over the priors of (1 + g)^-S q1^(-n S).
double DelayPosterior::logOverPriors(double q0, double direct) const {
  double sum = -infinity;
  const int first = TailGrid::firstPrior(numRows_);
  for (int i = first; i < TailGrid::numPriors; ++i) {
    const double q1 = std::max(q0 - direct * grid_.shrinkage(i), leastEnergy());
    const double variance = grid_.priorVariance(i);
    sum = logSum(sum, -samples_ * std::log(q1) - numRows_ * std::log1p(variance));
  }
  return sum - std::log(static_cast<double>(TailGrid::numPriors - first));
}

/// What one tail makes of the point, with and without a direct path.
void DelayPosterior::evaluate(std::size_t hypothesis) {
  const TailHypothesis& tail = grid_.hypotheses()[hypothesis];
  double captured = 0.0;
  double direct = 0.0;
  for (int row = 0; row < numRows_; ++row) {
    for (std::size_t j = 0; j < tail.shares.size(); ++j) {
      const SplitVector onto = onto_[static_cast<std::size_t>(tail.model)].row(row);
      captured += tail.shares[j] * std::norm(Complex(onto.re[j], onto.im[j]));
    }
    direct += std::norm(directOverTail(tail, row));
  }
  const double q0 = std::max(energy_ - captured, leastEnergy());
  const double common = tail.logPrior - numRows_ * tail.logDeterminant;
  Term& term = terms_[hypothesis];
  term.energy = std::max(q0 - direct / tail.information, leastEnergy());
  term.power = direct / (tail.information * tail.information) / numRows_;
  term.logTail = hypothesis == 0 ? -infinity : common - samples_ * std::log(q0);
  term.logDirect = common + logOverPriors(q0, direct / tail.information);
}

DelayPosterior::Point DelayPosterior::at(double frequency) {
  tones_.steer(frequency, steering_.re.data(), steering_.im.data());
  for (int row = 0; row < numRows_; ++row) {
    project(row);
  }
  Point point = {frequency, -infinity, -infinity};
  double tails = -infinity;
  for (std::size_t h = 0; h < terms_.size(); ++h) {
    terms_[h].logDirect = terms_[h].logTail = -infinity;
    if (isActive_[h] != 0) {
      evaluate(h);
      point.logDirect = logSum(point.logDirect, terms_[h].logDirect);
      tails = logSum(tails, terms_[h].logTail);
    }
  }
  point.logAll = logSum(point.logDirect, tails);
  return point;
}

void DelayPosterior::leaveOutHopeless() {
  double best = -infinity;
  for (const Term& term : terms_) {
    best = std::max({best, term.logDirect, term.logTail});
  }
  for (std::size_t h = 0; h < terms_.size(); ++h) {
    const double mine = std::max(terms_[h].logDirect, terms_[h].logTail);
    isActive_[h] = mine > best - hopeless ? 1 : 0;
  }
  findNeededRanks();
}

/// Q^1/2 = I - sum over j of (1 - sqrt(1 - v_j)) u_j u_j^H
void DelayPosterior::whitenedResidual(std::size_t hypothesis, int row, SplitTarget out) {
  const TailHypothesis& tail = grid_.hypotheses()[hypothesis];
  const auto m = static_cast<std::size_t>(std::max(tail.model, 0));
  const SplitVector onto = onto_[m].row(row);
  const SplitVector z = z_.row(row);
  const Complex a = directOverTail(tail, row) / tail.information;
  for (int k = 0; k < tones_.count(); ++k) {
    const double root = tones_.rootsOfWeights()[static_cast<std::size_t>(k)];
    out.re[k] = z.re[k] - root * a.real();
    out.im[k] = z.im[k] - root * a.imag();
  }
  for (std::size_t j = 0; j < tail.shares.size(); ++j) {
    const TailModel& model = grid_.models()[m];
    const Complex left = Complex(onto.re[j], onto.im[j]) - times(a, model.steered[j]);
    const Complex part = (1.0 - std::sqrt(1.0 - tail.shares[j])) * left;
    const SplitVector u = model.vectors.row(static_cast<int>(j));
    for (int k = 0; k < tones_.count(); ++k) {
      out.re[k] -= part.real() * u.re[k] - part.imag() * u.im[k];
      out.im[k] -= part.real() * u.im[k] + part.imag() * u.re[k];
    }
  }
}

}  // namespace flightpath
