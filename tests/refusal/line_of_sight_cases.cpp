#include <complex>
#include <memory>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

#include "flightpath/line_of_sight/line_of_sight.h"
#include "tests/refusal/failure_points.h"
#include "tests/refusal/rangers.h"
#include "tests/support/direct_paths.h"
#include "tests/support/tones.h"

namespace refusal {
namespace {

using flightpath::DirectPath;
using flightpath::LineOfSight;
using flightpath::LineOfSightOptions;
using support::Samples;

/// One as its constructor leaves it; what it is, its answers show.
struct BuiltSight {
  std::optional<LineOfSight> lineOfSight;
  unsigned numSubcarriers = N;
  unsigned rowsPerEstimate = 1;
  std::vector<double> answers;

  std::tuple<const std::vector<double>&> parts() {
    Samples x;
    for (unsigned k = 0; k < numSubcarriers * rowsPerEstimate; ++k) {
      x.push_back({1.0F + 0.01F * static_cast<float>(k), 0.5F});
    }
    answers.clear();
    if (lineOfSight) {
      answers = support::everythingIn(lineOfSight->estimate({x, numSubcarriers}));
    }
    return std::tie(answers);
  }
};

std::unique_ptr<Scenario> constructing(unsigned numSubcarriers, const LineOfSightOptions& how) {
  return filling<BuiltSight>(Nothing(), [numSubcarriers, how](auto&, BuiltSight& b) {
    b.numSubcarriers = numSubcarriers;
    b.rowsPerEstimate = how.SnapshotsPerEstimate;
    b.lineOfSight.reset();
    b.lineOfSight.emplace(numSubcarriers, how);
  });
}

struct Sighting {
  LineOfSight lineOfSight;
  std::vector<DirectPath> paths = {};
  std::vector<double> numbers = {};

  std::tuple<const std::vector<double>&> parts() {
    numbers = support::everythingIn(paths);
    return std::tie(numbers);
  }
};

void look(const Samples& x, Sighting& s) { s.lineOfSight.estimate({x, N}, s.paths); }

std::unique_ptr<Scenario> estimating(const Samples& rows, const LineOfSightOptions& how) {
  return changing(rows, Sighting{LineOfSight(N, how)}, look);
}

/// The same where object and answers have served already.
std::unique_ptr<Scenario> estimatingAgain(const Samples& rows, const LineOfSightOptions& how) {
  Sighting used = {LineOfSight(N, how)};
  look(rows, used);
  return changing(rows, std::move(used), look);
}

/// One to four paths, noisy and noise-free, nothing but zeros, not finite.
Samples fewRows() { return rowsOfBatch({1, 2, 3, 4, 11, 13, 15, 16}); }

LineOfSightOptions plain() {
  LineOfSightOptions how;
  how.SubcarrierSpacing = support::spacing_Hz;
  return how;
}

LineOfSightOptions sharing(unsigned rows) {
  LineOfSightOptions how = plain();
  how.SnapshotsPerEstimate = rows;
  return how;
}

LineOfSightOptions onThreads(unsigned threads) {
  LineOfSightOptions how = plain();
  how.Threads = threads;
  return how;
}

LineOfSightOptions withEverything() {
  LineOfSightOptions how = sharing(2);
  how.Tones = support::joined(support::range(-14, -3), support::range(3, 14));
  how.Weights.assign(N, 0.5);
  how.EarliestDistance = 0.0;
  how.LatestDistance = 500.0;
  how.AcceptPhaseOnly = true;
  how.Calibration = flightpath::Calibration::measure({std::vector<std::complex<double>>(N, 1.0), N},
                                                     support::spacing_Hz, 3.0, how.Tones);
  return how;
}

LineOfSightOptions disordered() {
  LineOfSightOptions how = withEverything();
  how.Tones[7] = how.Tones[6];
  return how;
}

LineOfSightOptions enclosingNothing() {
  LineOfSightOptions how = plain();
  how.EarliestDistance = 5.0;
  how.LatestDistance = 5.0;
  return how;
}

const Case lineOfSightCases[] = {
    {"constructor", [] { return constructing(N, plain()); }},
    {"constructor for four subcarriers", [] { return constructing(4, plain()); }},
    {"constructor for rows that share a path", [] { return constructing(4, sharing(3)); }},
    {"constructor with threads", [] { return constructing(4, onThreads(3)); }},
    {"constructor with everything", [] { return constructing(N, withEverything()); }},
    {"constructor for three subcarriers", [] { return constructing(3, plain()); },
     Outcome::InvalidArgument},
    {"constructor for tones out of order", [] { return constructing(N, disordered()); },
     Outcome::InvalidArgument},
    {"constructor with an empty window", [] { return constructing(N, enclosingNothing()); },
     Outcome::InvalidArgument},
    {"estimate", [] { return estimating(fewRows(), plain()); }},
    {"estimate of rows that share a path", [] { return estimating(fewRows(), sharing(2)); }},
    {"estimate with threads", [] { return estimating(fewRows(), onThreads(3)); }},
    {"estimate with everything", [] { return estimating(fewRows(), withEverything()); }},
};

const Case quietLineOfSightCases[] = {
    {"estimate of a batch of known size", [] { return estimatingAgain(fewRows(), plain()); }},
    {"estimate of rows that share a path of a batch of known size",
     [] { return estimatingAgain(fewRows(), sharing(2)); }},
    {"estimate with everything of a batch of known size",
     [] { return estimatingAgain(fewRows(), withEverything()); }},
};

INSTANTIATE_TEST_SUITE_P(LineOfSight, Allocating, testing::ValuesIn(lineOfSightCases), testName);
INSTANTIATE_TEST_SUITE_P(LineOfSight, NotAllocating, testing::ValuesIn(quietLineOfSightCases),
                         testName);

}  // namespace
}  // namespace refusal
