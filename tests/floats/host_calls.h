#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "flightpath/music/music_result.h"
#include "flightpath/music/tof_result.h"
#include "flightpath/ranging/ranger.h"
#include "flightpath/spectrum/estimator.h"
#include "tests/floats/records.h"
#include "tests/support/builders.h"
#include "tests/support/channels.h"
#include "tests/support/columns.h"

/// Every entry point on every route, its answer in one list of numbers that can be compared.
namespace support {

using Answer = std::vector<double>;

template <class Values>
void append(Answer& answer, const Values& values) {
  answer.insert(answer.end(), values.begin(), values.end());
}

inline Answer byEntryPoint(const Record& x, int forced) {
  return estimateRecord(x, forced).Distances;
}

/// The paths and their peaks; of the spectrum what is scanned.
inline Answer byMUSICToF(const Record& x, const ToFEstimationParameters& parameters) {
  ToFResult r;
  MUSICLib().MUSICToF(column(x), &parameters, &r);
  Answer answer = {static_cast<double>(r.NumSignals)};
  append(answer, r.Distances);
  append(answer, r.PeakValues);
  append(answer, r.ScannedDistances);
  append(answer, r.PseudoSpectrum);
  return answer;
}

inline Answer byMUSIC1D(const Record& x, const MUSICParameters& parameters) {
  MUSICResult r;
  MUSICLib().MUSIC1D(column(x), &parameters, &r);
  Answer answer = {static_cast<double>(r.NumSignals)};
  append(answer, r.NormalizedFreqs);
  append(answer, r.PeakValues);
  append(answer, r.ScannedFreqs);
  append(answer, r.PseudoSpectrum);
  return answer;
}

inline flightpath::RangingOptions rangingOptions(int forced, unsigned threads) {
  flightpath::RangingOptions how;
  how.Method = flightpath::RangingMethod::Music;
  how.SubcarrierSpacing = recordSpacing_Hz;
  how.NumPaths = forcedCount(forced);
  how.Threads = threads;
  return how;
}

inline flightpath::RangingOptions likelihoodOptions(int forced, unsigned threads) {
  flightpath::RangingOptions how = rangingOptions(forced, threads);
  how.Method = flightpath::RangingMethod::MaximumLikelihood;
  how.IntervalLevel = 0.9;
  return how;
}

/// All records of the same length, one behind the other.
inline Answer byRanger(flightpath::Ranger& ranger, const Record& rows, std::size_t count) {
  return everythingIn(ranger.estimate({rows, rows.size() / count}));
}

inline Answer byRanger(const Record& x, const flightpath::RangingOptions& how) {
  flightpath::Ranger ranger(static_cast<std::uint32_t>(x.size()), how);
  return byRanger(ranger, x, 1);
}

/// By both methods.
inline std::vector<flightpath::RangingOptions> rangersFor(int forced, unsigned threads) {
  return {rangingOptions(forced, threads), likelihoodOptions(forced, threads)};
}

/// The settings of every route, made before any mode is set: a grid is the caller's arithmetic.
struct RouteCalls {
  std::vector<ToFEstimationParameters> tof;
  std::vector<MUSICParameters> oneDimensional;

  explicit RouteCalls(int N) {
    for (const RouteSettings& route : allRoutes) {
      tof.push_back(tofParametersFor(route, N));
      oneDimensional.push_back(parametersFor(route, N));
    }
  }
};

inline constexpr std::array<int, 4> hostForcedCounts = {-1, 1, 2, 3};

/// What every entry point says of one record.
inline std::vector<Answer> allAnswers(const Record& x, const RouteCalls& routes) {
  std::vector<Answer> answers;
  for (const int forced : hostForcedCounts) {
    answers.push_back(byEntryPoint(x, forced));
    for (const flightpath::RangingOptions& how : rangersFor(forced, 1)) {
      answers.push_back(byRanger(x, how));
    }
  }
  for (const ToFEstimationParameters& parameters : routes.tof) {
    answers.push_back(byMUSICToF(x, parameters));
  }
  for (const MUSICParameters& parameters : routes.oneDimensional) {
    answers.push_back(byMUSIC1D(x, parameters));
  }
  return answers;
}

inline std::vector<Record> ordinaryRecords(int N) {
  std::vector<Record> records;
  for (const double snr_dB : {10.0, 30.0, noNoise}) {
    for (const int numPaths : {1, 2, 3}) {
      records.push_back(ordinaryRecord(N, numPaths, snr_dB, 17));
    }
  }
  return records;
}

}  // namespace support
