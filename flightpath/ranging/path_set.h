#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
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
/// Paths come in the order of their coarse peaks: ascending distance, though the fine search may
/// exchange two that lie within a coarse step of each other.
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

  EstimateInfo info() const { return info_; }

 private:
  friend class PathSet;
  Estimate(const PathSet& set, std::size_t first, std::size_t last, EstimateInfo info)
      : set_(&set), first_(first), last_(last), info_(info) {}

  const PathSet* set_;
  std::size_t first_;
  std::size_t last_;
  EstimateInfo info_;
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
  Estimate operator[](std::size_t i) const& {
    return {*this, offsets_[i], offsets_[i + 1], {numSignals_[i], outcomes_[i]}};
  }
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

  /// One value per path, as in `Path`.
  Span<const double> distances_m() const& { return column(distances_m_); }
  Span<const double> distances_m() const&& = delete;
  Span<const double> delays_s() const& { return column(delays_s_); }
  Span<const double> delays_s() const&& = delete;
  Span<const float> peaks_dB() const& { return column(peaks_dB_); }
  Span<const float> peaks_dB() const&& = delete;

  /// One value per estimate, as in `EstimateInfo`.
  Span<const std::int32_t> numSignals() const& { return column(numSignals_); }
  Span<const std::int32_t> numSignals() const&& = delete;
  Span<const Outcome> outcomes() const& { return column(outcomes_); }
  Span<const Outcome> outcomes() const&& = delete;

 private:
  friend class Ranger;  // which fills it

  template <class T>
  static Span<const T> column(const std::vector<T>& values) {
    return {values.data(), values.size()};
  }

  RangingContext context_;
  bool complete_ = true;
  std::vector<std::size_t> offsets_;
  std::vector<double> distances_m_;
  std::vector<double> delays_s_;
  std::vector<float> peaks_dB_;
  std::vector<std::int32_t> numSignals_;
  std::vector<Outcome> outcomes_;
};

inline Path pathOf(const PathSet& set, std::size_t k) {
  return {set.distances_m()[k], set.delays_s()[k], set.peaks_dB()[k]};
}

inline Estimate estimateOf(const PathSet& set, std::size_t i) { return set[i]; }

}  // namespace flightpath
