#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "flightpath/music/eigen.h"
#include "flightpath/music/music_result.h"
#include "flightpath/music/tof_result.h"
#include "flightpath/runtime/nonfinite.h"
#include "flightpath/spectrum/estimator.h"
#include "tests/support/builders.h"
#include "tests/support/call_counter.h"
#include "tests/support/channels.h"

/// Every call that an estimate makes into foreign libraries, in order, and what its caller can see
/// meanwhile. All checks are of the class EXACT.
///
/// With 8 samples: 3 subvectors of 6, so a covariance of order 6; 256 points of the coarse spectrum,
/// which is the power of two nearest to 30 times 8; 101 points of a fine grid.
namespace {

using support::allRoutes;
using support::CallLines;
using support::CallLog;

constexpr int N = 8;

const CallLines covarianceAndEigenpairs = {"cgemm N C 6 6 3", "cheev V L 6"};

/// Covariance, eigenpairs, then these.
CallLines afterTheCount(const CallLines& rest) {
  CallLines lines = covarianceAndEigenpairs;
  lines.insert(lines.end(), rest.begin(), rest.end());
  return lines;
}

/// Two signals, whatever the route.
ToFEstimationParameters forTwo(const support::RouteSettings& route) {
  ToFEstimationParameters p = support::tofParametersFor(route, N);
  p.InputNumSignals[0] = 2.0F;
  return p;
}

coder::array<creal32_T, 1> twoTones() {
  std::mt19937_64 random(3);
  return support::measure({{-0.2, 1.0, 0.4}, {0.15, 1.0, 2.0}}, N, 40.0, random);
}

CallLines callsOfMUSICToF(const ToFEstimationParameters& p) {
  MUSICLib estimator;
  ToFResult result;
  CallLog log;
  estimator.MUSICToF(twoTones(), &p, &result);
  return log.take();
}

bool isOne(const coder::array<float, 2>& a, float value) {
  return a.numel == 1 && a.size[0] == 1 && a.size[1] == 1 && a[0] == value;
}

bool isOne(const coder::array<float, 1>& a, float value) { return a.numel == 1 && a[0] == value; }

}  // namespace

TEST(EstimatorCalls, PhaseSlope_CountsTheSignalsAndNothingMore) {
  EXPECT_EQ(callsOfMUSICToF(support::tofParametersFor(allRoutes[0], N)), covarianceAndEigenpairs);
}

// A transform per signal, one plan for all; the standard deviation; a product per peak.
TEST(EstimatorCalls, FFT) {
  EXPECT_EQ(callsOfMUSICToF(forTwo(allRoutes[1])),
            afterTheCount({"lock", "plan 1: 256 (1, 1) x 1 (1, 1), -1, 80", "unlock", "execute 1",
                           "execute 1", "snrm2 256", "cgemm C N 101 4 6", "cgemm C N 101 4 6"}));
}

TEST(EstimatorCalls, Classic_OneProductForTheWholeGrid) {
  EXPECT_EQ(callsOfMUSICToF(forTwo(allRoutes[3])), afterTheCount({"cgemm C N 1001 4 6"}));
}

TEST(EstimatorCalls, WithoutSmoothing_TheCovarianceTakesNoProduct) {
  ToFEstimationParameters p = support::tofParametersFor(allRoutes[0], N);
  p.MeasurementContinual = 0;
  EXPECT_EQ(callsOfMUSICToF(p), (CallLines{"cheev V L 8"}));
}

TEST(EstimatorCalls, MUSIC1D_MakesTheSame) {
  for (const support::RouteSettings& route : allRoutes) {
    MUSICLib estimator;
    MUSICResult signals;
    ToFResult paths;
    const MUSICParameters normalised = support::parametersFor(route, N);
    const ToFEstimationParameters inMetres = support::tofParametersFor(route, N);
    CallLog log;
    estimator.MUSICToF(twoTones(), &inMetres, &paths);
    CallLines first = log.take();
    std::erase_if(first, [](const std::string& line) {
      return line == "lock" || line == "unlock" || line.starts_with("plan");
    });
    estimator.MUSIC1D(twoTones(), &normalised, &signals);
    EXPECT_EQ(log.take(), first) << route.name << ", on the plans of the first";
  }
}

// The neutral values stand before anything is computed, and also where the computation ends early.
TEST(EstimatorCalls, ResultsAreNeutralWhenTheSignalsAreCounted) {
  MUSICLib estimator;
  ToFResult paths;
  MUSICResult signals;
  for (coder::array<float, 2>* used :
       {&paths.Distances, &paths.PeakValues, &paths.ScannedDistances, &signals.PeakValues,
        &signals.NormalizedFreqs, &signals.ScannedFreqs}) {
    *used = support::row({7.0F, 8.0F, 9.0F});
  }
  paths.PseudoSpectrum = signals.PseudoSpectrum = support::column({7.0F, 8.0F});
  const ToFEstimationParameters inMetres = support::tofParametersFor(allRoutes[1], N);
  const MUSICParameters normalised = support::parametersFor(allRoutes[1], N);
  int neutral = 0;
  {
    CallLog log([&](const std::string& line) {
      if (line == covarianceAndEigenpairs.front()) {
        neutral += isOne(paths.PeakValues, 1.0F) && isOne(paths.PseudoSpectrum, 1.0F);
      }
    });
    estimator.MUSICToF(twoTones(), &inMetres, &paths);
  }
  EXPECT_EQ(neutral, 1) << "MUSICToF";
  {
    CallLog log([&](const std::string& line) {
      if (line == covarianceAndEigenpairs.front()) {
        neutral += isOne(signals.PeakValues, 1.0F) && isOne(signals.NormalizedFreqs, 0.0F) &&
                   isOne(signals.ScannedFreqs, 0.0F) && isOne(signals.PseudoSpectrum, 1.0F);
      }
    });
    estimator.MUSIC1D(twoTones(), &normalised, &signals);
  }
  EXPECT_EQ(neutral, 2) << "MUSIC1D";
}

// Balanced by permuting and by scaling; right eigenvectors only, no condition numbers.
TEST(EigenCalls, FollowTheSymmetryOfTheMatrix) {
  using support::matrix;
  using Elements = std::vector<creal32_T>;
  struct Row {
    coder::array<creal32_T, 2> A;
    CallLines calls;
    const char* why;
  };
  const Row rows[] = {
      {matrix(2, 2, Elements{{1, 0}, {2, 3}, {2, -3}, {4, 0}}), {"cheev V L 2"}, "Hermitian"},
      {matrix(2, 2, Elements{{0, 0}, {-1, 0}, {1, 0}, {0, 0}}), {"cheev V L 2"}, "skew-Hermitian"},
      {matrix(2, 2, Elements{{1, 0}, {2, 0}, {3, 0}, {4, 0}}), {"cgeevx B N V N 2"}, "general"},
      {matrix(1, 1, Elements{{rtInfF, 0}}), {}, "not finite"},
      {{}, {}, "empty"},
  };
  for (const Row& row : rows) {
    coder::array<creal32_T, 2> V;
    coder::array<creal32_T, 1> d;
    CallLog log;
    coder::eig(row.A, V, d);
    EXPECT_EQ(log.take(), row.calls) << row.why;
  }
}
