#include <utility>

#include "tests/refusal/failure_points.h"
#include "tests/refusal/rangers.h"
#include "tests/support/ranging.h"

namespace refusal {
namespace {

using support::options;
using support::RangingOptions;
using support::Samples;

RangingOptions tinySpacing() { return support::withSpacing(1e-44); }

const Case rangerCases[] = {
    {"constructor", [] { return constructing(N, options()); }},
    {"constructor for one subcarrier", [] { return constructing(1, options()); }},
    {"constructor for an order with the rough factor",
     [] { return constructing(520, options(1)); }},
    {"constructor with four threads", [] { return constructing(N, options({}, 4)); }},
    {"constructor for no subcarrier", [] { return constructing(0, options()); },
     Outcome::InvalidArgument},
    {"constructor with too many threads", [] { return constructing(N, options({}, 5000)); },
     Outcome::InvalidArgument},
    {"constructor without a spacing", [] { return constructing(N, RangingOptions()); },
     Outcome::InvalidArgument},
    {"constructor with a spacing out of range", [] { return constructing(N, tinySpacing()); },
     Outcome::InvalidArgument},
    {"estimate", [] { return estimating(batch(), options()); }},
    {"estimate of a forced one", [] { return estimating(batch(), options(1)); }},
    {"estimate of a forced three", [] { return estimating(batch(), options(3)); }},
    {"estimate of a forced count above the order",
     [] { return estimating(batch(), options(255)); }},
    {"estimate with four threads", [] { return estimating(batch(), options({}, 4)); }},
    {"estimate again", [] { return estimatingAgain(batch(), options(), 16); }},
    {"estimate again with four threads",
     [] { return estimatingAgain(batch(), options({}, 4), 16); }},
    {"estimate that returns its paths",
     [] {
       return changing(batch(), Working{Ranger(N, options())}, [](const Samples& x, Working& w) {
         w.answers = w.ranger.estimate({x, N});
       });
     }},
    {"estimate of a null pointer",
     [] {
       return changing(Nothing(), Working{Ranger(N, options())}, [](auto&, Working& w) {
         w.ranger.estimate({static_cast<const creal32_T*>(nullptr), N, N}, w.answers);
       });
     },
     Outcome::InvalidArgument},
    {"estimate of a Ranger that was moved from",
     [] {
       Working w = {Ranger(N, options())};
       const Ranger taken = std::move(w.ranger);
       return changing(Nothing(), std::move(w), [](auto&, Working& empty) {
         const creal32_T sample = {};
         empty.ranger.estimate({&sample, 1, 1}, empty.answers);
       });
     },
     Outcome::LogicError, true},
};

const Case quietRangerCases[] = {
    {"move of a Ranger",
     [] {
       return changing(Nothing(), Working{Ranger(N, options())}, [](auto&, Working& w) {
         Ranger taken(std::move(w.ranger));
         w.ranger = std::move(taken);
       });
     }},
    {"estimate of a batch of known size", [] { return estimatingAgain(batch(), options(), 0); }},
};

INSTANTIATE_TEST_SUITE_P(Ranger, Allocating, testing::ValuesIn(rangerCases), testName);
INSTANTIATE_TEST_SUITE_P(Ranger, NotAllocating, testing::ValuesIn(quietRangerCases), testName);

}  // namespace
}  // namespace refusal
