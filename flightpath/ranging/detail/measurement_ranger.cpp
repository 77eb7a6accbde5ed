#include "flightpath/ranging/detail/measurement_ranger.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <iterator>
#include <limits>
#include <new>
#include <numeric>
#include <stdexcept>

#include "flightpath/api/music_parameters.h"
#include "flightpath/api/tof_parameters.h"
#include "flightpath/ranging/detail/fast_decibels.h"
#include "flightpath/ranging/detail/small_matrices.h"
#include "flightpath/rules/count_limits.h"
#include "flightpath/rules/default_settings.h"
#include "flightpath/rules/one_path_route.h"
#include "flightpath/rules/peak_threshold.h"
#include "flightpath/rules/phase_slope.h"
#include "flightpath/rules/search_grids.h"
#include "flightpath/rules/subvector_length.h"
#include "flightpath/spectrum/detail/decibels.h"
#include "flightpath/spectrum/detail/fft_axis.h"
#include "flightpath/spectrum/detail/fftw_calls.h"

namespace flightpath {
namespace {

// A signal's eigenvector is good when C v - theta v is this much of theta; a noise eigenvalue that
// only the criterion looks at, when it is this much: its error is the square of that.
constexpr double vectorTolerance = 1e-6;
constexpr double valueTolerance = 3e-2;
constexpr int mostSteps = 40;

/// Eigenvalues below the largest times this are rounding of single-precision samples: they count as
/// equal to it.
constexpr double roundingOfSamples = 0x1p-24;

/// Cholesky pivots below the largest diagonal element times this say that the matrix is singular as
/// far as double precision can see.
constexpr double singularPivot = 1e-13;

/// From this order on the factorisation, the one step that takes the cube of it, is tried in single
/// precision first: half the time, and precise enough to say when the count search may stop, as long
/// as the pivots stay clear of single-precision rounding.
constexpr int roughOrder = 256;
constexpr double roughPivot = 3e-5;
constexpr double roughSlack = 0.05;  // of the order, which is what a step of the penalty is worth

/// The resolutions that an estimate without any given works with.
Resolutions defaultResolutions(int N, double spacing_Hz) {
  ToFEstimationParameters parameters;
  setDefaults(static_cast<float>(N), static_cast<float>(spacing_Hz), parameters);
  b_MUSICParameters normalised;
  parameters.getMUSICParameters(normalised);
  if (!std::isnormal(normalised.CoarseResolution) || !std::isnormal(normalised.FineResolution)) {
    throw std::invalid_argument("Ranger: SubcarrierSpacing leaves the range of single precision");
  }
  return {normalised.CoarseResolution, normalised.FineResolution};
}

std::vector<float> offsetsOfFineGrid(Resolutions resolutions) {
  coder::array<float, 2> offsets;
  fineOffsets(resolutions.coarse, resolutions.fine, 1, offsets);
  return {offsets.begin(), offsets.end()};
}

bool allFinite(const creal32_T* samples, int N) {
  return std::all_of(samples, samples + N,
                     [](creal32_T z) { return std::isfinite(z.re) && std::isfinite(z.im); });
}

/// What brings the largest part of a sample to within 1 ... 2, exactly; any power where all are zero.
/// Powers of the matrix, and products of samples, then stay far from the ends of their range,
/// whatever the unit.
double powerOfTwoScale(const creal32_T* samples, int n) {
  float largest = 0.0F;
  for (int k = 0; k < n; ++k) {
    largest = std::max({largest, std::fabs(samples[k].re), std::fabs(samples[k].im)});
  }
  int exponent = 0;
  std::frexp(largest, &exponent);
  return std::ldexp(1.0, 1 - exponent);
}

/// The sum of term(v) over a coarse grid, in sums side by side: one alone would wait for itself at
/// every addition. A coarse grid has a power of two of points, at least 32.
template <class Term>
double sumOf(std::span<const float> y, Term term) {
  constexpr std::size_t lanes = 8;
  assert(y.size() % lanes == 0);
  double sums[lanes] = {};
  for (std::size_t i = 0; i < y.size(); i += lanes) {
    for (std::size_t lane = 0; lane < lanes; ++lane) {
      sums[lane] += term(y[i + lane]);
    }
  }
  return std::accumulate(std::begin(sums), std::end(sums), 0.0);
}

/// Mean plus one standard deviation.
float threshold(std::span<const float> y) {
  const auto n = static_cast<double>(y.size());
  const double mean = sumOf(y, [](float v) { return double{v}; }) / n;
  const double squares = sumOf(y, [mean](float v) { return (v - mean) * (v - mean); });
  return static_cast<float>(peakThreshold(mean, std::sqrt(squares / (n - 1.0))));
}

}  // namespace

MeasurementRanger::MeasurementRanger(int N, const RangingOptions& options)
    : N_(N),
      options_(options),
      resolutions_(defaultResolutions(N, options.SubcarrierSpacing)),
      offsets_(offsetsOfFineGrid(resolutions_)),
      gram_(N, subvectorLength(N)),
      pairs_(gram_.order()),
      polynomial_(gram_.L(), offsets_) {
  const auto order = static_cast<std::size_t>(gram_.order());
  factor_.resize(order * order);
  if (gram_.order() >= roughOrder) {
    roughFactor_.resize(order * order);
  }
  eigenvalues_.resize(order);
  lapackWork_.resize(3 * order);
  leading_.reserve(order);
  scaled_.resize(static_cast<std::size_t>(N));
  re_.resize(static_cast<std::size_t>(gram_.L()));
  im_.resize(re_.size());

  const auto n = static_cast<int>(coarseFFTLength(resolutions_.coarse));
  half_.set_size(n / 2 + 1);
  energies_.set_size(n);
  spectrum_.set_size(n);
  fftFrequencies(n, axis_);
  plan_ = fftw::planRealInverse(n, half_.data, energies_.data);
  if (plan_ == nullptr) {
    throw std::bad_alloc();
  }
}

MeasurementRanger::~MeasurementRanger() { fftw::destroy(plan_); }

float MeasurementRanger::estimate(const creal32_T* samples) {
  paths_.clear();
  if (!allFinite(samples, N_)) {
    return 0.0F;
  }
  if (options_.PhaseSlopeForOnePath && options_.NumSignals == 1) {
    reportPhaseSlope(samples);
    return 1.0F;
  }
  gram_.form(samples, powerOfTwoScale(samples, N_));
  const int found = countAndSolve();
  if (options_.PhaseSlopeForOnePath && found == 1 && !options_.NumSignals) {
    reportPhaseSlope(samples);
    return 1.0F;
  }
  if (found > 0) {
    formPolynomial(found);
    searchCoarse(options_.NumSignals.value_or(static_cast<unsigned char>(std::min(found, 255))));
  }
  return options_.NumSignals ? static_cast<float>(*options_.NumSignals) : static_cast<float>(found);
}

/// The logarithm of the determinant from a Cholesky factor of this precision; empty where there is
/// none, or where a pivot is below the largest diagonal element times smallestPivot.
template <class Real>
std::optional<double> MeasurementRanger::logDeterminant(std::vector<Real>& factor,
                                                        double smallestPivot) {
  const int n = gram_.order();
  const std::span<const double> C = gram_.matrix();
  std::ranges::transform(C, factor.begin(), [](double c) { return static_cast<Real>(c); });
  double largest = 0.0;
  for (int i = 0; i < n; ++i) {
    largest = std::max(largest, C[static_cast<std::size_t>(i) * static_cast<std::size_t>(n + 1)]);
  }
  if (!choleskyFactor(n, factor.data())) {
    return {};
  }
  return flightpath::logDeterminant(n, factor.data(), smallestPivot * largest);
}

std::optional<EigenvalueSums> MeasurementRanger::sumsByCholesky() {
  const int n = gram_.order();
  if (n > gram_.L()) {
    return {};  // rank at most L: singular, whatever the noise
  }
  const std::span<const double> C = gram_.matrix();
  double trace = 0.0;
  for (int i = 0; i < n; ++i) {
    trace += C[static_cast<std::size_t>(i) * static_cast<std::size_t>(n + 1)];
  }
  if (!roughFactor_.empty()) {
    if (const auto logs = logDeterminant(roughFactor_, roughPivot)) {
      return EigenvalueSums{n, trace, *logs, roughSlack * n};
    }
  }
  if (const auto logs = logDeterminant(factor_, singularPivot)) {
    return EigenvalueSums{n, trace, *logs, 0.0};
  }
  return {};
}

/// The signal count, with that many leading eigenpairs at hand.
int MeasurementRanger::countAndSolve() {
  solvedFully_ = false;
  if (options_.NumSignals) {
    const int wanted = std::min<int>(*options_.NumSignals, std::min(gram_.order(), gram_.L()));
    if (3 * wanted > gram_.order()) {
      decomposeFully();
      return wanted;
    }
    pairs_.start(gram_.matrix());
    while (pairs_.width() < wanted + 2 && pairs_.widen()) {
    }
    for (int i = 0; i < mostSteps; ++i) {
      pairs_.step();
      if (converged(wanted, vectorTolerance)) {
        return wanted;
      }
    }
    decomposeFully();
    return wanted;
  }
  const std::optional<EigenvalueSums> sums = sumsByCholesky();
  return sums ? iterate(sums) : solveFully();
}

bool MeasurementRanger::converged(int numPairs, double tolerance) const {
  for (int k = 0; k < numPairs; ++k) {
    if (!(pairs_.residual(k) <= tolerance * pairs_.value(k))) {
      return false;
    }
  }
  return true;
}

/// The count by the eigenvalues that have settled; empty where it takes more of them.
std::optional<int> MeasurementRanger::currentCount(const std::optional<EigenvalueSums>& sums) {
  leading_.clear();
  while (static_cast<int>(leading_.size()) < pairs_.width() &&
         pairs_.residual(static_cast<int>(leading_.size())) <=
             valueTolerance * pairs_.value(static_cast<int>(leading_.size()))) {
    leading_.push_back(pairs_.value(static_cast<int>(leading_.size())));
  }
  return countSignals(*sums, leading_);
}

int MeasurementRanger::iterate(const std::optional<EigenvalueSums>& sums) {
  pairs_.start(gram_.matrix());
  for (int i = 0; i < mostSteps; ++i) {
    pairs_.step();
    const std::optional<int> count = currentCount(sums);
    if (count && converged(*count, vectorTolerance)) {
      return *count;
    }
    const bool allUsed = static_cast<int>(leading_.size()) + 1 >= pairs_.width();
    if (!count && allUsed && !pairs_.widen()) {
      break;
    }
  }
  return solveFully();
}

void MeasurementRanger::decomposeFully() {
  std::ranges::copy(gram_.matrix(), factor_.begin());
  symmetricEigen(gram_.order(), factor_.data(), eigenvalues_.data(), lapackWork_.data());
  solvedFully_ = true;
}

/// All eigenvalues, those of rounding raised to the rounding of the samples: the count of a matrix
/// that is singular, or whose pairs would not separate.
int MeasurementRanger::solveFully() {
  decomposeFully();
  const int m = std::min(gram_.order(), gram_.L());
  leading_.assign(eigenvalues_.rbegin(), eigenvalues_.rbegin() + m);
  if (!(leading_.front() > 0.0)) {
    return 0;
  }
  EigenvalueSums sums = {m, 0.0, 0.0, 0.0};
  for (double& value : leading_) {
    value = std::max(value, roundingOfSamples * leading_.front());
    sums.trace += value;
    sums.logDeterminant += std::log(value);
  }
  return countSignals(sums, leading_).value();  // no more are needed: these are all
}

void MeasurementRanger::formPolynomial(int numSignals) {
  const int n = gram_.order();
  polynomial_.clear();
  for (int k = 0; k < numSignals; ++k) {
    const auto last = static_cast<std::size_t>(n - 1 - k);
    const double value = solvedFully_ ? eigenvalues_[last] : pairs_.value(k);
    if (!(value > 0.0)) {
      return;
    }
    const std::span<const double> pq =
        solvedFully_ ? std::span<const double>(factor_).subspan(last * static_cast<std::size_t>(n),
                                                                static_cast<std::size_t>(n))
                     : pairs_.vector(k);
    gram_.eigenvector(pq, value, re_, im_);
    polynomial_.add(re_, im_);
  }
}

void MeasurementRanger::searchCoarse(int numSignals) {
  polynomial_.toSpectrum({half_.data, static_cast<std::size_t>(half_.numel)});
  fftw::executeRealInverse(plan_, half_.data, energies_.data);
  const int n = energies_.numel;
  // What rounding leaves of a noise energy that vanishes keeps the spectrum finite.
  const auto M = static_cast<float>(gram_.L());
  const float least = std::numeric_limits<float>::epsilon() * M;
  const auto decibels = [M, least](float captured) {
    const float energy = std::fabs(M - captured);
    return -fastDecibels(energy > least ? energy : least);
  };
  std::transform(energies_.begin(), energies_.begin() + n / 2, spectrum_.begin() + n / 2, decibels);
  std::transform(energies_.begin() + n / 2, energies_.end(), spectrum_.begin(), decibels);
  leftmostPeaks(spectrum_, static_cast<float>(numSignals),
                threshold({spectrum_.data, static_cast<std::size_t>(n)}), peakWork_, heights_,
                positions_);
  for (const double position : positions_) {
    refine(axis_[static_cast<int>(position) - 1]);
  }
}

/// The best of the fine grid around a coarse peak: the first candidate of the smallest noise energy.
void MeasurementRanger::refine(float coarse) {
  const std::span<const double> noiseEnergy = polynomial_.noiseEnergy(coarse);
  const auto best = std::ranges::min_element(noiseEnergy);
  const double least = std::numeric_limits<double>::epsilon() * gram_.L();
  const auto energy = static_cast<float>(std::max(*best, least));
  const float offset = offsets_[static_cast<std::size_t>(best - noiseEnergy.begin())];
  paths_.push_back({offset + coarse, pseudoSpectrumDecibels(energy)});
}

void MeasurementRanger::reportPhaseSlope(const creal32_T* samples) {
  const double scale = powerOfTwoScale(samples, N_);
  std::transform(samples, samples + N_, scaled_.begin(), [scale](creal32_T z) -> creal32_T {
    return {static_cast<float>(scale * z.re), static_cast<float>(scale * z.im)};
  });
  const float frequency = phaseSlopeFrequency(scaled_, phaseSteps_);
  paths_.push_back({frequency, 1.0F});
}

}  // namespace flightpath
