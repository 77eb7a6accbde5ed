#include "tests/support/reference_estimator.h"

#include <lapacke.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>

namespace support {
namespace {

constexpr double twoPi = 2.0 * std::numbers::pi;

double toDecibels(double linear) { return 20.0 * std::log10(linear); }

std::size_t truncated(double s, std::size_t most) {
  return s > 0.0 ? static_cast<std::size_t>(std::min(s, static_cast<double>(most))) : 0;
}

struct CountedSubspaces {
  double numSignals = 0.0;
  ReferenceEigenpairs eigen;

  int M() const { return static_cast<int>(eigen.vectors.size()); }
  std::span<const std::vector<Complex>> signal() const {
    return std::span(eigen.vectors).first(truncated(numSignals, eigen.vectors.size()));
  }
  /// The steering-vector pseudo-spectrum: projections onto the noise eigenvectors, added up.
  double decibelsAt(double f) const {
    double energy = 0.0;
    for (std::size_t k = signal().size(); k < eigen.vectors.size(); ++k) {
      Complex projection = 0.0;
      for (std::size_t m = 0; m < eigen.vectors.size(); ++m) {
        projection += eigen.vectors[k][m] * std::polar(1.0, twoPi * static_cast<double>(m) * f);
      }
      energy += std::norm(projection);
    }
    return toDecibels(1.0 / energy + std::numeric_limits<double>::epsilon());
  }
};

CountedSubspaces countAndSplit(const std::vector<Complex>& x, const ReferenceSettings& settings) {
  CountedSubspaces s;
  s.eigen = referenceEigen(settings.smooth ? referenceSmoothing(x) : referenceOuterProduct(x));
  std::vector<double> positive = s.eigen.values;
  std::erase_if(positive, [](double v) { return v <= 0.0; });
  const std::vector<double> Q = referenceCriterion(positive, settings.smooth);
  const auto smallest = std::ranges::min_element(Q);
  s.numSignals = settings.forcedCount.value_or(static_cast<double>(smallest - Q.begin()));
  return s;
}

/// Heights of the coarse spectrum in decibels on n points from -1/2, by plain sums over a table of
/// the n-th roots of unity.
std::vector<double> coarseSpectrum(const CountedSubspaces& s, std::size_t n) {
  std::vector<Complex> roots(n);
  for (std::size_t j = 0; j < n; ++j) {
    roots[j] = std::polar(1.0, twoPi * static_cast<double>(j) / static_cast<double>(n));
  }
  std::vector<double> y(n);
  for (std::size_t j = 0; j < n; ++j) {
    const std::size_t turn = (j + n - n / 2) % n;
    double captured = 0.0;
    for (const std::vector<Complex>& u : s.signal()) {
      Complex projection = 0.0;
      for (std::size_t m = 0, at = 0; m < u.size(); ++m, at = (at + turn) % n) {
        projection += u[m] * roots[at];
      }
      captured += std::norm(projection);
    }
    y[j] = toDecibels(1.0 / std::abs(s.M() - captured));
  }
  return y;
}

double meanPlusDeviation(const std::vector<double>& y) {
  const auto n = static_cast<double>(y.size());
  const double mean = std::accumulate(y.begin(), y.end(), 0.0) / n;
  double squares = 0.0;
  for (const double v : y) {
    squares += (v - mean) * (v - mean);
  }
  return mean + (y.size() == 1 ? 0.0 : std::sqrt(squares / (n - 1.0)));
}

void findCoarsePeaks(const CountedSubspaces& s, double coarseResolution, ReferenceEstimate& out) {
  const double points = std::exp2(std::round(std::log2(1.0 / coarseResolution)));
  const auto n = static_cast<std::size_t>(points);
  const std::vector<double> y = coarseSpectrum(s, n);
  const double threshold = meanPlusDeviation(y);
  out.thresholdMargin_dB = std::numeric_limits<double>::infinity();
  for (std::size_t j = 1; j + 1 < n; ++j) {
    if (y[j] <= y[j - 1] || y[j] <= y[j + 1]) {
      continue;
    }
    out.thresholdMargin_dB = std::min(out.thresholdMargin_dB, std::abs(y[j] - threshold));
    if (y[j] > threshold) {
      const std::size_t zeroBin = n / 2;
      out.coarse.push_back((static_cast<double>(j) - static_cast<double>(zeroBin)) / points);
    }
  }
  if (static_cast<double>(out.coarse.size()) > s.numSignals) {
    out.coarse.resize(truncated(s.numSignals, out.coarse.size()));
  }
}

std::vector<double> candidatesAround(double coarse, const ReferenceSettings& settings) {
  std::vector<double> candidates;
  if (settings.grid.empty()) {
    const long steps = std::lround(2.0 * settings.coarseResolution / settings.fineResolution);
    for (long k = 0; k <= steps; ++k) {
      const double place = 2.0 * static_cast<double>(k) / static_cast<double>(steps) - 1.0;
      candidates.push_back(coarse + settings.coarseResolution * place);
    }
  }
  std::ranges::copy_if(settings.grid, std::back_inserter(candidates),
                       [&](double g) { return std::abs(g - coarse) < settings.coarseResolution; });
  return candidates;
}

void searchByFFT(const CountedSubspaces& s, const ReferenceSettings& settings,
                 ReferenceEstimate& out) {
  findCoarsePeaks(s, settings.coarseResolution, out);
  std::vector<std::vector<double>> candidates;
  std::size_t fewest = std::numeric_limits<std::size_t>::max();
  for (const double p : out.coarse) {
    candidates.push_back(candidatesAround(p, settings));
    fewest = std::min(fewest, candidates.back().size());
  }
  for (std::vector<double>& column : candidates) {
    column.resize(fewest);
    if (fewest > 0) {
      const double best = std::ranges::max(column, {}, [&](double f) { return s.decibelsAt(f); });
      out.freqs.push_back(best);
      out.peaks_dB.push_back(s.decibelsAt(best));
    }
  }
}

void searchGrid(const CountedSubspaces& s, const ReferenceSettings& settings,
                ReferenceEstimate& out) {
  std::vector<std::pair<double, double>> peaks;  // height, frequency
  std::vector<double> y;
  std::ranges::transform(settings.grid, std::back_inserter(y),
                         [&](double f) { return s.decibelsAt(f); });
  for (std::size_t j = 1; j + 1 < y.size(); ++j) {
    if (y[j] > y[j - 1] && y[j] > y[j + 1]) {
      peaks.emplace_back(y[j], settings.grid[j]);
    }
  }
  std::ranges::stable_sort(peaks, std::greater(), &std::pair<double, double>::first);
  peaks.resize(truncated(s.numSignals, peaks.size()));
  for (const auto& [height, f] : peaks) {
    out.freqs.push_back(f);
    out.peaks_dB.push_back(height);
  }
}

}  // namespace

ReferenceMatrix::ReferenceMatrix(int extent)
    : n(extent), values(static_cast<std::size_t>(extent) * static_cast<std::size_t>(extent)) {}

Complex& ReferenceMatrix::operator()(int i, int j) {
  return values[static_cast<std::size_t>(i) +
                static_cast<std::size_t>(j) * static_cast<std::size_t>(n)];
}

Complex ReferenceMatrix::operator()(int i, int j) const {
  return values[static_cast<std::size_t>(i) +
                static_cast<std::size_t>(j) * static_cast<std::size_t>(n)];
}

ReferenceSettings referenceDefaults(int N) {
  return {.coarseResolution = 1.0 / (30.0 * N), .fineResolution = 1.0 / (1500.0 * N)};
}

std::vector<Complex> toDouble(std::span<const creal32_T> x) {
  std::vector<Complex> y;
  std::ranges::transform(x, std::back_inserter(y), [](creal32_T z) { return Complex(z.re, z.im); });
  return y;
}

ReferenceMatrix referenceOuterProduct(const std::vector<Complex>& x) {
  ReferenceMatrix R(static_cast<int>(x.size()));
  for (int j = 0; j < R.n; ++j) {
    for (int i = 0; i < R.n; ++i) {
      R(i, j) = x[static_cast<std::size_t>(i)] * std::conj(x[static_cast<std::size_t>(j)]);
    }
  }
  return R;
}

ReferenceMatrix referenceSmoothing(const std::vector<Complex>& x) {
  const std::size_t N = x.size();
  const std::size_t L = (3 * N + 2) / 4;  // 3/4 N to the nearest, halves up, in whole numbers
  const std::size_t K = N - L + 1;
  ReferenceMatrix R(static_cast<int>(L));
  for (std::size_t j = 0; j < L; ++j) {
    for (std::size_t i = 0; i < L; ++i) {
      Complex sum = 0.0;
      for (std::size_t k = 0; k < K; ++k) {
        sum += x[i + k] * std::conj(x[j + k]);
        sum += std::conj(x[L - 1 - i + k]) * x[L - 1 - j + k];
      }
      R(static_cast<int>(i), static_cast<int>(j)) = sum / (2.0 * static_cast<double>(K));
    }
  }
  return R;
}

ReferenceEigenpairs referenceEigen(const ReferenceMatrix& A) {
  ReferenceMatrix V = A;
  const auto n = static_cast<std::size_t>(A.n);
  std::vector<double> ascending(n);
  if (n > 0) {
    LAPACKE_zheev(LAPACK_COL_MAJOR, 'V', 'L', A.n,
                  reinterpret_cast<lapack_complex_double*>(V.values.data()), A.n, ascending.data());
  }
  ReferenceEigenpairs pairs;
  for (std::size_t k = n; k-- > 0;) {
    pairs.values.push_back(ascending[k]);
    const auto column = V.values.begin() + static_cast<std::ptrdiff_t>(k * n);
    pairs.vectors.emplace_back(column, column + A.n);
  }
  return pairs;
}

std::vector<double> referenceCriterion(std::span<const double> eigenvalues, bool smoothed) {
  const auto m = static_cast<double>(eigenvalues.size());
  std::vector<double> Q;
  for (std::size_t i = 0; i < eigenvalues.size(); ++i) {
    const std::span<const double> noise = eigenvalues.subspan(i);
    const auto n = static_cast<double>(noise.size());
    double sum = 0.0;
    double sumOfLogs = 0.0;
    for (const double value : noise) {
      sum += value;
      sumOfLogs += std::log(value);
    }
    const double k = m - n;
    const double penalty = smoothed ? k * (2.0 * m - k + 1.0) / 2.0 : k * (2.0 * m - k);
    Q.push_back(penalty + n * (std::log(sum / n) - sumOfLogs / n));
  }
  return Q;
}

double referencePhaseSlope(const std::vector<Complex>& x) {
  double total = 0.0;
  for (std::size_t k = 1; k < x.size(); ++k) {
    total += std::arg(x[k] / x[k - 1]);
  }
  return -total / static_cast<double>(x.size() - 1) / twoPi;
}

double referenceNoiseEnergy(std::span<const std::vector<Complex>> signal, int M, double f) {
  double captured = 0.0;
  for (const std::vector<Complex>& u : signal) {
    Complex projection = 0.0;
    for (std::size_t m = 0; m < u.size(); ++m) {
      projection += u[m] * std::polar(1.0, twoPi * static_cast<double>(m) * f);
    }
    captured += std::norm(projection);
  }
  return M - captured;
}

ReferenceEstimate referenceEstimate(const std::vector<Complex>& x,
                                    const ReferenceSettings& settings) {
  const CountedSubspaces s = countAndSplit(x, settings);
  ReferenceEstimate out;
  out.numSignals = s.numSignals;
  if (s.numSignals == 1.0 && settings.allowPhaseSlope && !settings.forceClassic) {
    out.freqs = {referencePhaseSlope(x)};
    out.peaks_dB = {1.0};
  } else if (settings.grid.empty() || (!settings.forceClassic && s.numSignals < 0.5 * s.M())) {
    searchByFFT(s, settings, out);
  } else {
    searchGrid(s, settings, out);
  }
  return out;
}

}  // namespace support
