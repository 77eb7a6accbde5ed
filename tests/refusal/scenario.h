#pragma once

#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <utility>

#include "tests/refusal/bits.h"

namespace refusal {

/// One call under test together with the objects that it works on.
class Scenario {
 public:
  Scenario() = default;
  virtual ~Scenario() = default;
  Scenario(const Scenario&) = delete;
  Scenario& operator=(const Scenario&) = delete;

  virtual void call() = 0;

  /// What the call only reads, and what it leaves behind.
  virtual std::string inputs() = 0;
  virtual std::string results() = 0;
};

using MakeScenario = std::function<std::unique_ptr<Scenario>()>;

template <class In, class Out, class Call>
class CallOn final : public Scenario {
 public:
  CallOn(In in, Call call) : in_(std::move(in)), call_(std::move(call)) {}
  CallOn(In in, Out out, Call call)
      : in_(std::move(in)), out_(std::move(out)), call_(std::move(call)) {}

  void call() override { call_(std::as_const(in_), out_); }
  std::string inputs() override { return bitsOf(in_); }
  std::string results() override { return bitsOf(out_); }

 private:
  In in_;
  Out out_ = {};
  Call call_;
};

/// call(in, out) fills an `Out` that starts empty.
template <class Out, class In, class Call>
std::unique_ptr<Scenario> filling(In in, Call call) {
  return std::make_unique<CallOn<In, Out, Call>>(std::move(in), std::move(call));
}

/// call(in, out) works on an `out` that is there already.
template <class In, class Out, class Call>
std::unique_ptr<Scenario> changing(In in, Out out, Call call) {
  return std::make_unique<CallOn<In, Out, Call>>(std::move(in), std::move(out), std::move(call));
}

using Nothing = std::tuple<>;

/// An estimator object and what it is asked for. Its plans are no result, but must not be lost.
template <class Result>
struct WithEstimator {
  MUSICLib estimator;
  Result result = {};

  auto parts() const { return std::tie(result); }
};

}  // namespace refusal
