#pragma once

#include <complex>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <stdexcept>
#include <vector>

#include "flightpath/ranging/path.h"
#include "flightpath/runtime/span.h"

namespace flightpath {

class Estimate;
class PathSet;

/// Path k of all paths in a set, and estimate i of the set: what the iterators return.
inline Path pathOf(const PathSet& set, std::size_t k);
inline Estimate estimateOf(const PathSet& set, std::size_t i);

/// Walks over the elements of a set, which come by value.
template <class Element, Element (*elementOf)(const PathSet&, std::size_t)>
class PathSetIterator {
  /// Keeps the element for as long as `->` looks at it.
  struct Arrow {
    Element element;
    const Element* operator->() const { return &element; }
  };

 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = Element;
  using difference_type = std::ptrdiff_t;
  using pointer = Arrow;
  using reference = Element;

  PathSetIterator() = default;
  PathSetIterator(const PathSet& set, std::size_t at) : set_(&set), at_(at) {}

  Element operator*() const { return elementOf(*set_, at_); }
  Arrow operator->() const { return {**this}; }
  PathSetIterator& operator++() {
    ++at_;
    return *this;
  }
  PathSetIterator operator++(int) {
    const PathSetIterator before = *this;
    ++at_;
    return before;
  }
  bool operator==(const PathSetIterator& other) const { return at_ == other.at_; }
  bool operator!=(const PathSetIterator& other) const { return at_ != other.at_; }

 private:
  const PathSet* set_ = nullptr;
  std::size_t at_ = 0;
};

/// The paths of one estimate: a range of `Path`. It is a view into a `PathSet`, valid as long as
/// the set lives and is not written to.
///
/// Paths come in ascending distance with MaximumLikelihood. With Music they come in the order of their
/// coarse peaks: ascending too, though the fine search may exchange two that lie within a coarse step
/// of each other.
class Estimate {
 public:
  std::size_t size() const { return last_ - first_; }
  bool empty() const { return first_ == last_; }

  /// Path k, k < size().
  Path operator[](std::size_t k) const { return pathOf(*set_, first_ + k); }

  /// The same. Errors: std::out_of_range.
  Path at(std::size_t k) const {
    if (k >= size()) {
      throw std::out_of_range("Estimate::at: no such path");
    }
    return (*this)[k];
  }

  PathSetIterator<Path, pathOf> begin() const { return {*set_, first_}; }
  PathSetIterator<Path, pathOf> end() const { return {*set_, last_}; }

  inline EstimateInfo info() const;

  /// The amplitude of path k in row `row` of those that share the paths: row 0 has `Path::Amplitude`.
  /// k < size(), row < S. NaN with Music.
  inline std::complex<double> amplitude(std::size_t k, std::size_t row) const;

  /// The covariance of the distances of paths k and l, both < size(), in square metres: `Deviation_m`
  /// squared where k = l. NaN with Music.
  ///
  /// Where the receiver's timing has an unknown offset only differences of distances mean something.
  /// Their variance is covariance_m2(k, k) + covariance_m2(l, l) - 2 covariance_m2(k, l), and not the
  /// sum of the two variances: neighbours that overlap move together.
  inline double covariance_m2(std::size_t k, std::size_t l) const;

 private:
  friend class PathSet;
  Estimate(const PathSet& set, std::size_t index, std::size_t first, std::size_t last)
      : set_(&set), index_(index), first_(first), last_(last) {}

  const PathSet* set_;
  std::size_t index_;
  std::size_t first_;
  std::size_t last_;
};

/// The answers for a batch: a range of `Estimate`, one per measurement, or per group of measurements
/// that share their paths.
///
///   for (const flightpath::Estimate estimate : found) {
///     for (const flightpath::Path path : estimate) {
///       std::printf("%.3f m\n", path.Distance_m);
///     }
///   }
///
/// All paths are kept in columns, one after the other; those of estimate i at offsets()[i] ...
/// offsets()[i + 1] - 1. The columns can be read directly, for bindings and archives.
class PathSet {
 public:
  /// How many estimates there are.
  std::size_t size() const { return numSignals_.size(); }
  bool empty() const { return numSignals_.empty(); }

  /// Estimate i, i < size(). Not of a temporary, which would be gone before its paths are read.
  Estimate operator[](std::size_t i) const& { return {*this, i, offsets_[i], offsets_[i + 1]}; }
  Estimate operator[](std::size_t i) const&& = delete;

  /// The same. Errors: std::out_of_range.
  Estimate at(std::size_t i) const& {
    if (i >= size()) {
      throw std::out_of_range("PathSet::at: no such estimate");
    }
    return (*this)[i];
  }
  Estimate at(std::size_t i) const&& = delete;

  PathSetIterator<Estimate, estimateOf> begin() const { return {*this, 0}; }
  PathSetIterator<Estimate, estimateOf> end() const { return {*this, size()}; }

  /// False where the call was stopped: there are answers for the first size() estimates only.
  bool complete() const { return complete_; }

  RangingContext context() const { return context_; }

  /// size() + 1 positions, the first one 0. Empty before the first estimate.
  Span<const std::size_t> offsets() const& { return column(offsets_); }
  Span<const std::size_t> offsets() const&& = delete;

  /// How many rows share the paths of an estimate: S.
  std::size_t rowsPerEstimate() const { return rowsPerEstimate_; }

  /// One value per path, as in `Path`.
  Span<const double> distances_m() const& { return column(distances_m_); }
  Span<const double> distances_m() const&& = delete;
  Span<const double> delays_s() const& { return column(delays_s_); }
  Span<const double> delays_s() const&& = delete;
  Span<const float> peaks_dB() const& { return column(peaks_dB_); }
  Span<const float> peaks_dB() const&& = delete;
  Span<const double> deviations_m() const& { return column(deviations_m_); }
  Span<const double> deviations_m() const&& = delete;
  Span<const double> SNRs_dB() const& { return column(SNRs_dB_); }
  Span<const double> SNRs_dB() const&& = delete;
  Span<const double> lowers_m() const& { return column(lowers_m_); }
  Span<const double> lowers_m() const&& = delete;
  Span<const double> uppers_m() const& { return column(uppers_m_); }
  Span<const double> uppers_m() const&& = delete;

  /// S values per path: amplitude(k, 0) ... amplitude(k, S - 1) of path k of all paths.
  Span<const std::complex<double>> amplitudes() const& { return column(amplitudes_); }
  Span<const std::complex<double>> amplitudes() const&& = delete;

  /// The matrices of `Estimate::covariance_m2`, row by row; that of estimate i at
  /// covarianceOffsets()[i] ... covarianceOffsets()[i + 1] - 1. Empty ones with Music.
  Span<const double> covariances_m2() const& { return column(covariances_m2_); }
  Span<const double> covariances_m2() const&& = delete;
  Span<const std::size_t> covarianceOffsets() const& { return column(covarianceOffsets_); }
  Span<const std::size_t> covarianceOffsets() const&& = delete;

  /// One value per estimate, as in `EstimateInfo`.
  Span<const std::int32_t> numSignals() const& { return column(numSignals_); }
  Span<const std::int32_t> numSignals() const&& = delete;
  Span<const Outcome> outcomes() const& { return column(outcomes_); }
  Span<const Outcome> outcomes() const&& = delete;
  Span<const double> noisePowers() const& { return column(noisePowers_); }
  Span<const double> noisePowers() const&& = delete;
  Span<const double> residualStructures() const& { return column(residualStructures_); }
  Span<const double> residualStructures() const&& = delete;
  Span<const double> weakestMargins() const& { return column(weakestMargins_); }
  Span<const double> weakestMargins() const&& = delete;
  Span<const double> nextMargins() const& { return column(nextMargins_); }
  Span<const double> nextMargins() const&& = delete;
  /// 1 where `EstimateInfo::PhaseOnly` is true, otherwise 0.
  Span<const std::uint8_t> phaseOnly() const& { return column(phaseOnly_); }
  Span<const std::uint8_t> phaseOnly() const&& = delete;
  Span<const Quality> qualities() const& { return column(qualities_); }
  Span<const Quality> qualities() const&& = delete;

 private:
  friend class PathSetWriter;

  template <class T>
  static Span<const T> column(const std::vector<T>& values) {
    return {values.data(), values.size()};
  }

  RangingContext context_;
  bool complete_ = true;
  std::size_t rowsPerEstimate_ = 1;
  std::vector<std::size_t> offsets_;
  std::vector<double> distances_m_;
  std::vector<double> delays_s_;
  std::vector<float> peaks_dB_;
  std::vector<double> deviations_m_;
  std::vector<double> SNRs_dB_;
  std::vector<double> lowers_m_;
  std::vector<double> uppers_m_;
  std::vector<std::complex<double>> amplitudes_;
  std::vector<double> covariances_m2_;
  std::vector<std::size_t> covarianceOffsets_;
  std::vector<std::int32_t> numSignals_;
  std::vector<Outcome> outcomes_;
  std::vector<double> noisePowers_;
  std::vector<double> residualStructures_;
  std::vector<double> weakestMargins_;
  std::vector<double> nextMargins_;
  std::vector<std::uint8_t> phaseOnly_;
  std::vector<Quality> qualities_;
};

inline Path pathOf(const PathSet& set, std::size_t k) {
  return {set.distances_m()[k],
          set.delays_s()[k],
          set.peaks_dB()[k],
          set.deviations_m()[k],
          set.amplitudes()[k * set.rowsPerEstimate()],
          set.SNRs_dB()[k],
          set.lowers_m()[k],
          set.uppers_m()[k]};
}

inline Estimate estimateOf(const PathSet& set, std::size_t i) { return set[i]; }

inline EstimateInfo Estimate::info() const {
  return {set_->numSignals()[index_],     set_->outcomes()[index_],
          set_->noisePowers()[index_],    set_->residualStructures()[index_],
          set_->weakestMargins()[index_], set_->nextMargins()[index_],
          set_->phaseOnly()[index_] != 0, set_->qualities()[index_]};
}

inline std::complex<double> Estimate::amplitude(std::size_t k, std::size_t row) const {
  return set_->amplitudes()[(first_ + k) * set_->rowsPerEstimate() + row];
}

inline double Estimate::covariance_m2(std::size_t k, std::size_t l) const {
  const std::size_t begin = set_->covarianceOffsets()[index_];
  if (begin == set_->covarianceOffsets()[index_ + 1]) {
    return std::numeric_limits<double>::quiet_NaN();
  }
  return set_->covariances_m2()[begin + k * size() + l];
}

}  // namespace flightpath
