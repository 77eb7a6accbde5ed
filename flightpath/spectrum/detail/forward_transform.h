#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "flightpath/runtime/complex.h"
#include "flightpath/spectrum/plan_cache.h"

namespace flightpath {

/// One forward transform of n values, with its plan and its arrays:
///
///   out(j) = sum over k of in(k) exp(-i 2 pi j k / n)
class ForwardTransform {
 public:
  /// Errors: std::bad_alloc.
  explicit ForwardTransform(std::size_t n);
  ~ForwardTransform();
  ForwardTransform(const ForwardTransform&) = delete;
  ForwardTransform& operator=(const ForwardTransform&) = delete;

  std::size_t size() const { return in_.size(); }
  std::vector<creal32_T>& in() { return in_; }
  const std::vector<creal32_T>& out() const { return out_; }

  /// Fills `out`; `in` stays as it is.
  void run();

  /// powers += |out|^2
  void addPowers(std::span<float> powers) const;

 private:
  std::vector<creal32_T> in_, out_;
  fftwf_plan plan_;
};

}  // namespace flightpath
