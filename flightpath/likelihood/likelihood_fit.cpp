#include "flightpath/likelihood/likelihood_fit.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>
#include <stdexcept>

namespace flightpath {
namespace {

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

constexpr double dampings[] = {0.0, 1e-9, 1e-8, 1e-7, 1e-6, 1e-5, 1e-4, 1e-3, 1e-2, 1e-1};

/// A path whose variance comes by more than this part from directions that damping alone holds is not
/// determined.
constexpr double mostHeldByDamping = 1e-2;

/// Factors the curvature, and returns the damping that this took. Where two paths stand for the shape of
/// one, their delays are not determined. Damping holds them, and leaves the deviations of the others what
/// they are: the least that outweighs the rounding of the curvature, which crowded paths make large.
/// Infinite where the largest is not enough.
double factorCurvature(NormalEquations& equations, std::span<const double> curvature, int n) {
  const auto* const found = std::ranges::find_if(
      dampings, [&](double damping) { return equations.factor(curvature, n, damping); });
  return found == std::end(dampings) ? infinity : *found;
}

const LikelihoodSettings& checked(const LikelihoodSettings& settings) {
  if (!(settings.falseAlarm > 0.0) || !(settings.falseAlarm < 1.0)) {
    throw std::invalid_argument("Ranger: FalseAlarm is not above 0 and below 1");
  }
  return settings;
}

DelayWindow window(const LikelihoodSettings& settings, int stride) {
  return delayWindow(settings.earliest.value_or(-infinity) * stride,
                     settings.latest.value_or(infinity) * stride);
}

/// What a path's amplitude takes up where its delay is moved by n periods: with c = t - mean,
///
///   exp(-i 2 pi (f + n) c) = exp(-i 2 pi f c) exp(i 2 pi n mean)
Complex turnByPeriods(double n, double mean) {
  const double turns = n * mean;
  return std::polar(1.0, 2.0 * std::numbers::pi * (turns - std::nearbyint(turns)));
}

LikelihoodSearch::Rules rules(const LikelihoodSettings& settings) {
  return {settings.falseAlarm, settings.modelError, settings.numPaths};
}

}  // namespace

LikelihoodFit::LikelihoodFit(std::span<const int> tones, std::span<const double> weights,
                             const LikelihoodSettings& settings)
    : tones_(tones, weights),
      numRows_(checked(settings).snapshots),
      window_(window(settings, tones_.stride())),
      search_(tones_, numRows_, window_, rules(settings)),
      profile_(tones_, numRows_, search_.mostPaths()),
      equations_(search_.mostPaths()),
      samples_(numRows_, tones_.count()) {
  const auto most = static_cast<std::size_t>(search_.mostPaths());
  order_.reserve(most);
  periods_.reserve(most);
  paths_.reserve(most);
  covariance_.resize(most * most);
  start_.reserve(most);
}

void LikelihoodFit::fit(std::span<const double> re, std::span<const double> im,
                        std::span<const double> start) {
  assert(re.size() == samples_.re.size() && im.size() == re.size());
  paths_.clear();
  order_.clear();
  periods_.clear();
  fit_ = nullptr;
  report_ = {0.0, notANumber, notANumber, notANumber};
  if (!load(re, im)) {
    return;
  }
  start_.clear();
  for (std::size_t i = 0; i < std::min(start.size(), start_.capacity()); ++i) {
    start_.push_back(start[i] * tones_.stride());
  }
  fit_ = &search_.search(samples_, start_);
  order();
  findCovariance();
  describe();
}

/// The samples times the roots of the weights. False where all of them are zero.
bool LikelihoodFit::load(std::span<const double> re, std::span<const double> im) {
  const std::span<const double> roots = tones_.rootsOfWeights();
  bool anything = false;
  for (std::size_t k = 0; k < re.size(); ++k) {
    const double root = roots[k % roots.size()];
    samples_.re[k] = root * re[k];
    samples_.im[k] = root * im[k];
    anything |= re[k] != 0.0 || im[k] != 0.0;
  }
  return anything;
}

/// From the earliest path to the latest.
void LikelihoodFit::order() {
  const std::span<const double> f = fit_->frequencies();
  order_.resize(f.size());
  std::iota(order_.begin(), order_.end(), 0);
  std::ranges::sort(order_, {},
                    [&](int p) { return window_.wrap(f[static_cast<std::size_t>(p)]); });
}

/// sigma^2 / 2 times the inverse of the curvature: the Fisher information with the amplitudes unknown.
///
/// Source: P. Stoica, A. Nehorai, MUSIC, maximum likelihood, and Cramer-Rao bound, IEEE Trans.
/// Acoust., Speech, Signal Process. 37(5), 1989.
void LikelihoodFit::findCovariance() {
  const int n = fit_->numPaths();
  const auto rows = static_cast<std::size_t>(n);
  fit_->differentiate();
  const std::span<const double> curvature = fit_->curvature();
  const double damping = factorCurvature(equations_, curvature, n);
  if (damping == infinity) {
    std::fill_n(covariance_.begin(), rows * rows, infinity);
    return;
  }
  const double perFrequency = tones_.stride();
  const double factor = 0.5 * fit_->noisePower() / (perFrequency * perFrequency);
  for (std::size_t p = 0; p < rows; ++p) {
    double* const column = &covariance_[p * rows];
    std::fill_n(column, rows, 0.0);
    column[p] = 1.0;
    equations_.solve(column);
    // In units of the diagonal, a direction without any curvature has the variance 1 / damping.
    const bool isHeld = damping * column[p] * curvature[p * rows + p] > mostHeldByDamping;
    std::transform(column, column + rows, column, [=](double v) { return factor * v; });
    if (isHeld) {
      column[p] = infinity;
    }
  }
}

void LikelihoodFit::describe() {
  for (std::size_t i = 0; i < order_.size(); ++i) {
    const int p = order_[i];
    const auto at = static_cast<int>(i);
    const double fitted = fit_->frequencies()[static_cast<std::size_t>(p)];
    const double alias = window_.wrap(fitted);
    periods_.push_back(std::nearbyint(fitted - alias));
    paths_.push_back({alias / tones_.stride(), std::sqrt(covariance(at, at)), fit_->meanPower(p)});
  }
  const double noise = fit_->noisePower() / tones_.weightScale();
  const LikelihoodSearch::Margins margins = search_.margins();
  report_ = {noise, search_.structure(), margins.weakest, margins.next};
}

std::complex<double> LikelihoodFit::amplitude(int p, int row) const {
  const auto at = static_cast<std::size_t>(p);
  const double mean = -tones_.centred().front();
  return times(turnByPeriods(periods_[at], mean), fit_->amplitude(order_[at], row));
}

double LikelihoodFit::covariance(int p, int q) const {
  const int a = order_[static_cast<std::size_t>(p)];
  const int b = order_[static_cast<std::size_t>(q)];
  const auto [first, second] = std::minmax(a, b);
  // One of the two triangles, which differ in their last bits.
  return covariance_[static_cast<std::size_t>(first) * order_.size() +
                     static_cast<std::size_t>(second)];
}

DelayInterval LikelihoodFit::interval(int p, double level) {
  const auto at = static_cast<std::size_t>(p);
  const double stride = tones_.stride();
  const DelayInterval found = profile_.find(
      *fit_, samples_, order_[at], paths_[at].deviation * stride, level, search_.refinement());
  return {(found.earliest - periods_[at]) / stride, (found.latest - periods_[at]) / stride};
}

}  // namespace flightpath
