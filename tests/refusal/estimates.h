#pragma once

#include <optional>
#include <tuple>
#include <vector>

#include "tests/refusal/scenario.h"
#include "tests/support/builders.h"
#include "tests/support/channels.h"

/// Calls of the two estimators and of the entry point, on the measurements that the cases share.
namespace refusal {

using Samples = coder::array<creal32_T, 1>;
using support::RouteSettings;

constexpr int numSamples = 32;

inline ToFEstimationParameters metres(const RouteSettings& route, bool smoothed, int N) {
  ToFEstimationParameters p = support::tofParametersFor(route, N);
  p.MeasurementContinual = smoothed ? 1 : 0;
  return p;
}

inline ToFEstimationParameters withoutForcedCount(ToFEstimationParameters p) {
  p.InputNumSignals = {};
  return p;
}

inline MUSICParameters normalised(const RouteSettings& route, bool smoothed) {
  MUSICParameters p = support::parametersFor(route, numSamples);
  p.MeasurementContinual = smoothed ? 1 : 0;
  return p;
}

inline MUSICParameters withoutForcedCount(MUSICParameters p) {
  p.InputNumSignals = {};
  return p;
}

using ToFEstimator = WithEstimator<ToFResult>;
using MUSIC1DEstimator = WithEstimator<MUSICResult>;

inline std::unique_ptr<Scenario> estimating(Samples x, ToFEstimationParameters p) {
  return filling<ToFEstimator>(std::tuple(std::move(x), std::move(p)),
                               [](const auto& in, ToFEstimator& e) {
                                 e.estimator.MUSICToF(std::get<0>(in), &std::get<1>(in), &e.result);
                               });
}

inline std::unique_ptr<Scenario> estimating(Samples x, MUSICParameters p) {
  return filling<MUSIC1DEstimator>(
      std::tuple(std::move(x), std::move(p)), [](const auto& in, MUSIC1DEstimator& e) {
        e.estimator.MUSIC1D(std::get<0>(in), &std::get<1>(in), &e.result);
      });
}

inline std::unique_ptr<Scenario> enteringAt(const Samples& x, std::optional<unsigned char> forced) {
  return filling<ToFEstimate>(support::toVector(x), [forced](const auto& samples, ToFEstimate& e) {
    const CSI csi = {312500, static_cast<std::uint16_t>(samples.size()), samples.data()};
    e = MUSIC::estimateToF(csi, forced);
  });
}

}  // namespace refusal
