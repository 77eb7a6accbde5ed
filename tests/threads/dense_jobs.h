#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "flightpath/api/entry/estimate_tof.h"
#include "flightpath/spectrum/estimator.h"
#include "flightpath/spectrum/fir_response.h"
#include "tests/support/channels.h"
#include "tests/threads/answer_bits.h"

/// The estimates that threads make at once by the dense engine: more transform lengths than a plan
/// cache holds, so that plans are made and destroyed throughout.
namespace support {

inline constexpr int workloadSizes[] = {16, 21, 30, 37, 56, 64, 100, 114, 242};

/// One estimate by an object of the caller's.
struct EstimatorJob {
  int N;
  RouteSettings route;
  bool smoothed;
  bool forced;
};

inline std::vector<EstimatorJob> estimatorJobs() {
  std::vector<EstimatorJob> jobs;
  for (const int N : workloadSizes) {
    for (const RouteSettings& route : allRoutes) {
      jobs.push_back({N, route, true, true});
    }
    jobs.push_back({N, allRoutes[1], true, false});
    jobs.push_back({N, allRoutes[1], false, true});
  }
  return jobs;
}

inline Bits solve(MUSICLib& estimator, const EstimatorJob& job) {
  const coder::array<creal32_T, 1> x = threeTones(job.N);
  ToFEstimationParameters inMetres = tofParametersFor(job.route, job.N);
  MUSICParameters normalised = parametersFor(job.route, job.N);
  inMetres.MeasurementContinual = normalised.MeasurementContinual = job.smoothed ? 1 : 0;
  if (!job.forced) {
    inMetres.InputNumSignals.set_size(0, 0);
    normalised.InputNumSignals.size[1] = 0;
  }
  ToFResult paths;
  MUSICResult signals;
  coder::array<creal32_T, 1> response;
  estimator.MUSICToF(x, &inMetres, &paths);
  estimator.MUSIC1D(x, &normalised, &signals);
  coder::firfreqz(&estimator, x, job.N + 5.0, response);
  Bits bits;
  append(bits, paths);
  append(bits, signals);
  append(bits, response);
  return bits;
}

inline std::string describe(const EstimatorJob& job) {
  return std::to_string(job.N) + " subcarriers, " + job.route.name +
         (job.smoothed ? ", smoothed" : ", not smoothed") +
         (job.forced ? ", forced count" : ", estimated count");
}

/// One call of the entry point.
struct EntryJob {
  int N;
  std::optional<unsigned char> forced;
};

inline std::vector<EntryJob> entryJobs() {
  std::vector<EntryJob> jobs;
  for (const int N : workloadSizes) {
    for (const std::optional<unsigned char> forced :
         {std::optional<unsigned char>(), std::optional<unsigned char>(1),
          std::optional<unsigned char>(2)}) {
      jobs.push_back({N, forced});
    }
  }
  return jobs;
}

inline Bits solve(const EntryJob& job) {
  const coder::array<creal32_T, 1> x = threeTones(job.N);
  return bitsOf(MUSIC::estimateToF(
      {static_cast<std::uint32_t>(spacing_Hz), static_cast<std::uint16_t>(job.N), x.data},
      job.forced));
}

inline std::string describe(const EntryJob& job) {
  return std::to_string(job.N) + " subcarriers, " +
         (job.forced ? std::to_string(*job.forced) + " forced" : "estimated count");
}

}  // namespace support
