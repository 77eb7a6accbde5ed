#include <random>
#include <vector>

#include "tests/refusal/estimates.h"
#include "tests/refusal/failure_points.h"

namespace refusal {
namespace {

Samples threeTones() { return support::threeTones(numSamples); }

Samples withoutNoise() {
  std::mt19937_64 random(21);
  return support::measure({{-0.2}, {0.1}}, numSamples, support::noNoise, random);
}

Samples oneTone() {
  std::mt19937_64 random(22);
  return support::measure({{0.0813}}, numSamples, 30.0, random);
}

const RouteSettings& phaseSlope = support::allRoutes[0];
const RouteSettings& fft = support::allRoutes[1];
const RouteSettings& fftOnGrid = support::allRoutes[2];
const RouteSettings& classic = support::allRoutes[3];

ToFEstimationParameters metresOf(const RouteSettings& route) {
  return metres(route, true, numSamples);
}

template <class Parameters>
Parameters withResolutions(Parameters p, float coarse, float fine) {
  p.set_CoarseResolution(coarse);
  p.set_FineResolution(fine);
  return p;
}

/// An estimator and a result that served a smaller measurement before.
struct Used {
  Used() {
    const ToFEstimationParameters smaller = metres(fft, true, 12);
    estimator.MUSICToF(support::threeTones(12), &smaller, &result);
  }

  MUSICLib estimator;
  ToFResult result;

  auto parts() const { return std::tie(result); }
};

/// Smoothing on or off, count forced or estimated, in metres or in normalised frequency.
std::vector<Case> routeCases() {
  std::vector<Case> rows;
  static const char* const names[2][4] = {{"phase slope", "FFT", "FFT on the grid", "classic"},
                                          {"phase slope not smoothed", "FFT not smoothed",
                                           "FFT on the grid not smoothed", "classic not smoothed"}};
  for (const bool smoothed : {true, false}) {
    for (std::size_t r = 0; r < support::allRoutes.size(); ++r) {
      const RouteSettings& route = support::allRoutes[r];
      rows.push_back({names[smoothed ? 0 : 1][r], [&route, smoothed] {
                        return estimating(threeTones(), metres(route, smoothed, numSamples));
                      }});
    }
  }
  return rows;
}

std::vector<Case> oneDimensionalCases() {
  std::vector<Case> rows = routeCases();
  std::size_t at = 0;
  for (const bool smoothed : {true, false}) {
    for (const RouteSettings& route : support::allRoutes) {
      rows[at++].make = [&route, smoothed] {
        return estimating(threeTones(), normalised(route, smoothed));
      };
    }
  }
  rows.push_back({"estimated count", [] {
                    return estimating(threeTones(), withoutForcedCount(normalised(fft, true)));
                  }});
  return rows;
}

const Case tofCases[] = {
    {"estimated count", [] { return estimating(threeTones(), withoutForcedCount(metresOf(fft))); }},
    {"estimated count on a grid",
     [] { return estimating(threeTones(), withoutForcedCount(metresOf(fftOnGrid))); }},
    {"estimated count of one",
     [] { return estimating(oneTone(), withoutForcedCount(metresOf(fft))); }},
    {"one path searched for",
     [] {
       ToFEstimationParameters p = metresOf(phaseSlope);
       p.OptPhaseSlopeForOneSignalCase = 0;
       return estimating(oneTone(), p);
     }},
    {"no noise", [] { return estimating(withoutNoise(), withoutForcedCount(metresOf(fft))); }},
    {"no noise on a grid", [] { return estimating(withoutNoise(), metresOf(classic)); }},
    {"no sample", [] { return estimating({}, metresOf(fft)); }},
    {"more signals than the space has",
     [] {
       ToFEstimationParameters p = metres(fft, true, 12);
       p.InputNumSignals = support::row({255.0F});
       return estimating(support::threeTones(12), p);
     }},
    {"estimator and result of a smaller measurement",
     [] {
       return filling<Used>(std::tuple(threeTones(), metresOf(fft)), [](const auto& in, Used& u) {
         u.estimator.MUSICToF(std::get<0>(in), &std::get<1>(in), &u.result);
       });
     }},
    {"coarse resolution of too many points",
     [] { return estimating(threeTones(), withResolutions(metresOf(fft), 1e-6F, 1.0F)); },
     Outcome::LengthError},
    {"fine resolution of too many points",
     [] { return estimating(threeTones(), withResolutions(metresOf(fft), 1.0F, 1e-12F)); },
     Outcome::LengthError},
};

const Case entryCases[] = {
    {"estimated count", [] { return enteringAt(threeTones(), {}); }},
    {"estimated count of one", [] { return enteringAt(oneTone(), {}); }},
    {"forced to one", [] { return enteringAt(threeTones(), 1); }},
    {"forced to three", [] { return enteringAt(threeTones(), 3); }},
    {"no noise", [] { return enteringAt(withoutNoise(), {}); }},
    {"no sample", [] { return enteringAt({}, 3); }},
};

INSTANTIATE_TEST_SUITE_P(MUSICToFRoutes, Allocating, testing::ValuesIn(routeCases()), testName);
INSTANTIATE_TEST_SUITE_P(MUSICToF, Allocating, testing::ValuesIn(tofCases), testName);
INSTANTIATE_TEST_SUITE_P(MUSIC1D, Allocating, testing::ValuesIn(oneDimensionalCases()), testName);
INSTANTIATE_TEST_SUITE_P(EntryPoint, Allocating, testing::ValuesIn(entryCases), testName);

}  // namespace
}  // namespace refusal
