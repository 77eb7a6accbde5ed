#include "fuzz/support/plain_fit.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <numeric>

#include "flightpath/likelihood/student_quantile.h"
#include "fuzz/support/require.h"

namespace fuzz {
namespace {

using support::Complex;
using support::ComplexVector;

constexpr double epsilon = std::numeric_limits<double>::epsilon();
constexpr double speedOfLight_mps = 299792458.0;

Complex scaled(Complex z, int exponent) {
  return {std::ldexp(z.real(), exponent), std::ldexp(z.imag(), exponent)};
}

int exponentOf(std::span<const Row> rows) {
  double largest = 0.0;
  for (const Row& row : rows) {
    for (const Complex z : row) {
      largest = std::max({largest, std::fabs(z.real()), std::fabs(z.imag())});
    }
  }
  return std::ilogb(largest);
}

support::SlowLikelihood modelOf(const RangingOptions& options, std::uint32_t N,
                                std::span<const Row> rows, int exponent) {
  const std::vector<std::int64_t> positions = tonesOf(options, N).positions;
  support::SlowLikelihood model = {
      {positions.begin(), positions.end()}, scaledWeights(options, N), {rows.begin(), rows.end()}};
  for (Row& row : model.rows) {
    for (Complex& z : row) {
      z = scaled(z, -exponent);
    }
  }
  return model;
}

double decibels(double power) { return 10.0 * std::log10(power); }

double norm(const ComplexVector& v) { return std::sqrt(support::squaredNorm(v)); }

}  // namespace

PlainFit::PlainFit(const RangingOptions& options, std::uint32_t N, std::span<const Row> rows,
                   const flightpath::Estimate& answer)
    : options_(options),
      answer_(answer),
      stride_(static_cast<double>(tonesOf(options, N).stride)),
      period_m_(speedOfLight_mps / options.SubcarrierSpacing / stride_),
      exponent_(exponentOf(rows)),
      weightExponent_(
          options.Weights.empty() ? 0 : std::ilogb(*std::ranges::max_element(options.Weights))),
      model_(modelOf(options, N, rows, exponent_)),
      noise_(std::ldexp(answer.info().NoisePower, -2 * exponent_ - weightExponent_)) {
  for (const flightpath::Path path : answer) {
    f_.push_back(path.Distance_m / period_m_);
  }
  for (std::size_t m = 0; m < rows.size(); ++m) {
    ComplexVector& x = x_.emplace_back();
    for (std::size_t p = 0; p < answer.size(); ++p) {
      x.push_back(scaled(answer.amplitude(p, m), -exponent_));
    }
  }
}

bool PlainFit::isInRange() const {
  constexpr int most = 250;
  return std::abs(exponent_) <= most && std::abs(weightExponent_) <= most;
}

/// Of an element of a steering vector: its delay, rounded a few times on the way to metres and back,
/// and the products that make it.
double PlainFit::steeringError(std::size_t p) const {
  const double farthest =
      std::fabs(model_.centred(0)) + std::fabs(model_.centred(model_.tones.size() - 1));
  return epsilon * (32.0 * std::fabs(f_[p]) * farthest + 32.0);
}

ComplexVector PlainFit::residual(std::size_t row) const {
  ComplexVector r = model_.weighted(model_.rows[row]);
  for (std::size_t p = 0; p < numPaths(); ++p) {
    const ComplexVector s = model_.steering(f_[p]);
    for (std::size_t k = 0; k < r.size(); ++k) {
      r[k] -= x_[row][p] * s[k];
    }
  }
  return r;
}

double PlainFit::cell() const { return 1.0 / static_cast<double>(model_.tones.back() + 1); }

double PlainFit::degreesLeft() const {
  const auto M = static_cast<double>(model_.rows.size());
  return M * static_cast<double>(model_.tones.size()) - static_cast<double>(numPaths()) * (M + 0.5);
}

double PlainFit::meanPower(std::size_t p) const {
  double sum = 0.0;
  for (const ComplexVector& x : x_) {
    sum += std::norm(x[p]);
  }
  return sum / static_cast<double>(x_.size());
}

void PlainFit::requireLeastSquares() const {
  const double W = std::accumulate(model_.weights.begin(), model_.weights.end(), 0.0);
  // A sum over n products, and two triangular solutions of K rows.
  const auto terms = static_cast<double>(2 * model_.tones.size() + 8 * numPaths() + 32);
  for (std::size_t m = 0; m < model_.rows.size(); ++m) {
    const ComplexVector r = residual(m);
    const double energy = norm(model_.weighted(model_.rows[m]));
    for (std::size_t p = 0; p < numPaths(); ++p) {
      const double own = epsilon * terms + steeringError(p);
      double bound = own * std::sqrt(W) * energy + std::numeric_limits<double>::min();
      for (std::size_t q = 0; q < numPaths(); ++q) {
        bound += std::abs(x_[m][q]) * W * (own + steeringError(q));
      }
      require(std::abs(support::innerProduct(model_.steering(f_[p]), r)) <= bound,
              "the residual has nothing of a path");
    }
  }
}

void PlainFit::requirePowers() const {
  const double W = std::accumulate(model_.weights.begin(), model_.weights.end(), 0.0);
  double cost = 0.0;
  double bound = 0.0;
  for (std::size_t m = 0; m < model_.rows.size(); ++m) {
    const double left = norm(residual(m));
    double error = 4.0 * epsilon * norm(model_.weighted(model_.rows[m]));
    for (std::size_t p = 0; p < numPaths(); ++p) {
      error += std::sqrt(W) * std::abs(x_[m][p]) * (steeringError(p) + 8.0 * epsilon);
    }
    cost += left * left;
    bound += (2.0 * left + error) * error +
             static_cast<double>(2 * model_.tones.size()) * epsilon * left * left;
  }
  require(std::fabs(noise_ * degreesLeft() - cost) <= bound,
          "the noise power is the residual's over the degrees of freedom");
  for (std::size_t p = 0; p < numPaths(); ++p) {
    const flightpath::Path path = answer_[p];
    const double power_dB = decibels(meanPower(p)) + 2.0 * decibels(std::ldexp(1.0, exponent_));
    require(static_cast<double>(path.Peak_dB) == power_dB ||
                std::fabs(static_cast<double>(path.Peak_dB) - power_dB) <=
                    0x1p-23 * std::fabs(power_dB) + 1e-6,
            "the peak is the power of the path");
    const double snr_dB = decibels(std::ldexp(meanPower(p) / noise_, -weightExponent_));
    require(path.SNR_dB == snr_dB || std::fabs(path.SNR_dB - snr_dB) <= 1e-9, "over the noise");
  }
}

std::vector<ComplexVector> PlainFit::projectedDerivatives() const {
  const std::vector<ComplexVector> basis = model_.basis(f_);
  std::vector<ComplexVector> derivatives;
  for (const double f : f_) {
    derivatives.push_back(support::projectedOff(basis, model_.derivative(f)));
  }
  return derivatives;
}

/// Re(d_p^H P d_q times the sum over the rows of conj(x_p) x_q)
std::vector<double> PlainFit::information(const std::vector<ComplexVector>& derivatives) const {
  std::vector<double> H;
  for (std::size_t p = 0; p < numPaths(); ++p) {
    for (std::size_t q = 0; q < numPaths(); ++q) {
      Complex amplitudes;
      for (const ComplexVector& x : x_) {
        amplitudes += std::conj(x[p]) * x[q];
      }
      H.push_back((support::innerProduct(derivatives[p], derivatives[q]) * amplitudes).real());
    }
  }
  return H;
}

void PlainFit::requireCovariances() const {
  const std::size_t K = numPaths();
  const std::vector<ComplexVector> derivatives = projectedDerivatives();
  const std::vector<double> H = information(derivatives);
  const auto scale = [&](std::size_t p) { return std::sqrt(H[p * K + p]); };
  // C in units in which H has a unit diagonal, and the noise is 2.
  std::vector<double> C;
  double largest = 0.0;
  double worst = 0.0;
  for (std::size_t p = 0; p < K; ++p) {
    const double whole = norm(model_.derivative(f_[p]));
    const double left = norm(derivatives[p]);
    // The library forms both from moments: the difference keeps the rounding of the larger, n K sums
    // over pivots of 1e-4 and more, and that of the delay.
    worst = std::max(worst, (1e-9 + 4.0 * steeringError(p)) * whole * whole / (left * left));
    for (std::size_t q = 0; q < K; ++q) {
      C.push_back(2.0 / noise_ * (answer_.covariance_m2(p, q) / (period_m_ * period_m_)) *
                  scale(p) * scale(q));
      largest = std::max(largest, std::fabs(C.back()));
    }
  }
  const double bound = static_cast<double>(K) * worst * largest;
  if (!(bound < 0.01)) {
    return;
  }
  for (std::size_t p = 0; p < K; ++p) {
    for (std::size_t q = 0; q < K; ++q) {
      double sum = 0.0;
      for (std::size_t l = 0; l < K; ++l) {
        sum += H[p * K + l] / (scale(p) * scale(l)) * C[l * K + q];
      }
      require(std::fabs(sum - (p == q ? 1.0 : 0.0)) <= bound,
              "the covariance is the inverse of the information");
    }
  }
}

void PlainFit::requireMinimum() const {
  constexpr std::size_t most = 8;  // the time grows with the cube
  const double cost = model_.cost(f_);
  double energy = 0.0;
  for (const Row& row : model_.rows) {
    energy += support::squaredNorm(model_.weighted(row));
  }
  if (numPaths() > most || !(cost > 1e-10 * energy) || !areApart(0.5)) {
    return;
  }
  const std::vector<double> H = information(projectedDerivatives());
  for (std::size_t p = 0; p < numPaths(); ++p) {
    const double deviation = std::sqrt(0.5 * noise_ / H[p * numPaths() + p]);
    requireNoLowerBeside(p, 0.1 * deviation, cost);
    requireNoLowerBeside(p, -0.1 * deviation, cost);
  }
}

bool PlainFit::areApart(double cells) const {
  for (std::size_t p = 0; p < numPaths(); ++p) {
    for (std::size_t q = 0; q < p; ++q) {
      if (std::fabs(std::remainder(f_[p] - f_[q], 1.0)) < cells * cell()) {
        return false;
      }
    }
  }
  return true;
}

/// Whether a distance is large beside the rounding of a delay, which grows with the window's.
bool PlainFit::isResolved(double distance, std::size_t p) const {
  return std::fabs(distance) > 1e5 * epsilon * std::fabs(f_[p]);
}

void PlainFit::requireNoLowerBeside(std::size_t p, double step, double cost) const {
  std::vector<double> beside = f_;
  beside[p] += step;
  const double distance_m = beside[p] * period_m_;
  const bool isOutside = distance_m < options_.EarliestDistance.value_or(distance_m) ||
                         distance_m > options_.LatestDistance.value_or(distance_m);
  if (isResolved(step, p) && std::fabs(step) < 0.05 * cell() && !isOutside) {
    require(model_.cost(beside) >= cost * (1.0 - 1e-9), "a minimum of the cost");
  }
}

void PlainFit::requireInterval() const {
  if (!options_.IntervalLevel || numPaths() != 1) {
    return;
  }
  const double degrees = 2.0 * degreesLeft();
  const double q = flightpath::studentQuantile(*options_.IntervalLevel, degrees);
  const double limit = model_.cost(f_) * (1.0 + q * q / degrees);
  requireEnd(answer_[0].Lower_m, limit);
  requireEnd(answer_[0].Upper_m, limit);
}

/// The side is known to a thousandth of itself.
void PlainFit::requireEnd(double end_m, double limit) const {
  const double side = end_m / period_m_ - f_[0];
  if (!isResolved(side, 0)) {
    return;
  }
  const double slack = 1e-6 * limit + 1e-12 * model_.cost({});
  require(model_.cost({f_[0] + side * (1.0 - 1.001e-3)}) <= limit + slack,
          "the interval ends where the cost has reached its limit");
  if (std::fabs(side) < std::min(0.5, 2.0 * cell()) * (1.0 - 1e-6)) {
    require(model_.cost({f_[0] + side}) >= limit - slack, "and not before");
  }
}

void PlainFit::requireNoMoreThanAt(const std::vector<double>& frequencies) const {
  std::vector<double> others;
  for (const double f : frequencies) {
    others.push_back(f * stride_);
  }
  require(model_.cost(f_) <= model_.cost(others) * (1.0 + 1e-9),
          "the cost is no higher than at the paths that were drawn");
}

}  // namespace fuzz
