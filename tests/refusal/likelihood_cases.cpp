#include "tests/refusal/failure_points.h"
#include "tests/refusal/rangers.h"
#include "tests/support/tones.h"

namespace refusal {
namespace {

using support::joined;
using support::likelihood;
using support::range;
using support::Samples;

/// One to four paths, nothing but zeros, not finite: six rows, which pairs and triples share.
Samples fewRows() { return rowsOfBatch({1, 2, 3, 4, 15, 16}); }

/// Maximum likelihood without a start: MUSIC does not take gaps.
RangingOptions withGap(RangingOptions how = likelihood()) {
  how.Tones = joined(range(-14, -3), range(3, 14));
  return how;
}

/// Blocks so far apart that sidelobes are looked through.
RangingOptions farBlocks() {
  RangingOptions how = likelihood();
  how.Tones = joined(range(0, 11), range(100, 111));
  return how;
}

RangingOptions sharing(RangingOptions how, unsigned rows) {
  how.SnapshotsPerEstimate = rows;
  return how;
}

RangingOptions withIntervals(RangingOptions how) {
  how.IntervalLevel = 0.9;
  return how;
}

RangingOptions withEverything() {
  RangingOptions how = sharing(withIntervals(withGap(likelihood({}, 3))), 2);
  how.Weights.assign(N, 0.5);
  how.ModelError = -40.0;
  how.EarliestDistance = 0.0;
  how.LatestDistance = 500.0;
  return how;
}

RangingOptions disordered() {
  RangingOptions how = withGap();
  how.Tones[7] = how.Tones[6];
  return how;
}

RangingOptions withoutWeight() {
  RangingOptions how = likelihood();
  how.Weights.assign(N, 1.0);
  how.Weights[3] = 0.0;
  return how;
}

RangingOptions enclosingNothing() {
  RangingOptions how = likelihood();
  how.EarliestDistance = 5.0;
  how.LatestDistance = 5.0;
  return how;
}

RangingOptions withFalseAlarm(double falseAlarm) {
  RangingOptions how = likelihood();
  how.FalseAlarm = falseAlarm;
  return how;
}

const Case likelihoodCases[] = {
    {"constructor", [] { return constructing(N, likelihood()); }},
    {"constructor for one subcarrier", [] { return constructing(1, likelihood()); }},
    {"constructor for a forced many", [] { return constructing(N, likelihood(12)); }},
    {"constructor with a gap", [] { return constructing(N, withGap()); }},
    {"constructor for far blocks", [] { return constructing(N, farBlocks()); }},
    {"constructor for rows that share paths",
     [] { return constructing(N, sharing(likelihood(), 3)); }},
    {"constructor with everything", [] { return constructing(N, withEverything()); }},
    {"constructor for tones out of order", [] { return constructing(N, disordered()); },
     Outcome::InvalidArgument},
    {"constructor for tones of another number", [] { return constructing(N + 1, withGap()); },
     Outcome::InvalidArgument},
    {"constructor with a weight of nothing", [] { return constructing(N, withoutWeight()); },
     Outcome::InvalidArgument},
    {"constructor with an empty window", [] { return constructing(N, enclosingNothing()); },
     Outcome::InvalidArgument},
    {"constructor without false alarms", [] { return constructing(N, withFalseAlarm(0.0)); },
     Outcome::InvalidArgument},
    {"estimate", [] { return estimating(fewRows(), likelihood()); }},
    {"estimate of a forced three", [] { return estimating(fewRows(), likelihood(3)); }},
    {"estimate with intervals", [] { return estimating(fewRows(), withIntervals(likelihood())); }},
    {"estimate with a gap", [] { return estimating(fewRows(), withIntervals(withGap())); }},
    {"estimate over far blocks", [] { return estimating(fewRows(), farBlocks()); }},
    {"estimate of rows that share paths",
     [] { return estimating(fewRows(), sharing(likelihood(), 2)); }},
    {"estimate with everything", [] { return estimating(fewRows(), withEverything()); }},
    {"estimate again", [] { return estimatingAgain(fewRows(), withIntervals(likelihood()), 4); }},
    {"estimate again with everything",
     [] { return estimatingAgain(fewRows(), withEverything(), 4); }},
};

const Case quietLikelihoodCases[] = {
    {"estimate of a batch of known size",
     [] { return estimatingAgain(fewRows(), withIntervals(likelihood()), 0); }},
    {"estimate over far blocks of a batch of known size",
     [] { return estimatingAgain(fewRows(), farBlocks(), 0); }},
    {"estimate of rows that share paths of a batch of known size",
     [] { return estimatingAgain(fewRows(), sharing(withGap(), 3), 0); }},
};

INSTANTIATE_TEST_SUITE_P(Likelihood, Allocating, testing::ValuesIn(likelihoodCases), testName);
INSTANTIATE_TEST_SUITE_P(Likelihood, NotAllocating, testing::ValuesIn(quietLikelihoodCases),
                         testName);

}  // namespace
}  // namespace refusal
