#include "tests/refusal/failure_points.h"
#include "tests/support/builders.h"
#include "tests/support/channels.h"

namespace refusal {
namespace {

using Row = coder::array<float, 2>;

Row longRow() { return support::evenGrid(-0.5F, 0.01F, 40); }

ToFEstimationParameters tofParameters() {
  return support::tofParametersFor(support::allRoutes[3], 64);
}

MUSICParameters musicParameters() { return support::parametersFor(support::allRoutes[3], 64); }

b_MUSICParameters normalised() {
  ToFEstimationParameters p = tofParameters();
  b_MUSICParameters out;
  p.getMUSICParameters(out);
  return out;
}

template <class Record>
std::unique_ptr<Scenario> copying(Record record) {
  return filling<Record>(std::move(record), [](const Record& from, Record& to) {
    Record copy(from);
    to = std::move(copy);
  });
}

template <class Record>
std::unique_ptr<Scenario> assigning(Record record) {
  return filling<Record>(std::move(record), [](const Record& from, Record& to) { to = from; });
}

ToFEstimationParameters withoutResolutions() {
  ToFEstimationParameters p = support::tofParametersFor(support::allRoutes[3], 64);
  p.CoarseResolution = {};
  p.FineResolution = {};
  return p;
}

struct Conversion {
  ToFEstimationParameters from = withoutResolutions();
  b_MUSICParameters to;

  auto parts() const { return std::tie(from.CoarseResolution, from.FineResolution, to); }
};

const Case apiCases[] = {
    {"distance2NF of a list",
     [] {
       return filling<Row>(longRow(), [](const Row& d, Row& nf) { distance2NF(d, 312500.0F, nf); });
     },
     Outcome::Succeeded, true},
    {"nf2Distance",
     [] {
       return filling<Row>(longRow(), [](const Row& nf, Row& d) { nf2Distance(nf, 312500.0F, d); });
     },
     Outcome::Succeeded, true},
    {"b_nf2Distance",
     [] {
       return filling<Row>(longRow(),
                           [](const Row& nf, Row& d) { b_nf2Distance(nf, 312500.0F, d); });
     },
     Outcome::Succeeded, true},
    {"ToFEstimationParameters init",
     [] {
       return filling<ToFEstimationParameters>(
           longRow(), [](const Row& grid, ToFEstimationParameters& p) {
             p.init(64.0F, 312500.0F, grid, grid, 1, 1, 1, grid, grid);
           });
     }},
    {"ToFEstimationParameters copied", [] { return copying(tofParameters()); }},
    {"ToFEstimationParameters assigned", [] { return assigning(tofParameters()); }},
    {"ToFEstimationParameters set_CoarseResolution",
     [] {
       return changing(Nothing(), withoutResolutions(),
                       [](auto&, auto& p) { p.set_CoarseResolution(0.5F); });
     },
     Outcome::Succeeded, true},
    {"ToFEstimationParameters set_FineResolution",
     [] {
       return changing(Nothing(), withoutResolutions(),
                       [](auto&, auto& p) { p.set_FineResolution(0.5F); });
     },
     Outcome::Succeeded, true},
    {"getMUSICParameters",
     [] {
       return filling<Conversion>(Nothing(),
                                  [](auto&, Conversion& c) { c.from.getMUSICParameters(c.to); });
     }},
    {"b_MUSICParameters init",
     [] { return filling<b_MUSICParameters>(Nothing(), [](auto&, auto& p) { p.init(); }); }},
    {"b_MUSICParameters copied", [] { return copying(normalised()); }},
    {"b_MUSICParameters assigned", [] { return assigning(normalised()); }},
    {"b_MUSICParameters set_InputNumSignals",
     [] {
       return filling<b_MUSICParameters>(longRow(),
                                         [](const Row& v, auto& p) { p.set_InputNumSignals(v); });
     },
     Outcome::Succeeded, true},
    {"b_MUSICParameters set_NormalizedScanningFreqs",
     [] {
       return filling<b_MUSICParameters>(
           longRow(), [](const Row& v, auto& p) { p.set_NormalizedScanningFreqs(v); });
     },
     Outcome::Succeeded, true},
    {"MUSICParameters init",
     [] {
       return filling<MUSICParameters>(longRow(), [](const Row& grid, MUSICParameters& p) {
         const float count = 3.0F;
         const int given[] = {1, 1};
         p.init(grid, &count, given, 1, 1, 1, 0.01F, 0.001F);
       });
     },
     Outcome::Succeeded, true},
    {"MUSICParameters copied", [] { return copying(musicParameters()); }},
    {"MUSICParameters assigned", [] { return assigning(musicParameters()); }},
};

const Case plainSetters[] = {
    {"setters of switches and resolutions",
     [] {
       return filling<b_MUSICParameters>(Nothing(), [](auto&, b_MUSICParameters& p) {
         p.set_ForceClassic(1);
         p.set_OptPhaseSlopeForOneSignalCase(1);
         p.set_MeasurementContinual(1);
         p.set_CoarseResolution(0.01F);
         p.set_FineResolution(0.001F);
       });
     }},
    {"bandwidth and resolutions",
     [] {
       return filling<std::tuple<float, float, float>>(tofParameters(), [](const auto& p, auto& y) {
         y = {p.getBandwidth(), p.getOptimalResolutions(std::get<2>(y)), std::get<2>(y)};
       });
     }},
};

INSTANTIATE_TEST_SUITE_P(Api, Allocating, testing::ValuesIn(apiCases), testName);
INSTANTIATE_TEST_SUITE_P(Api, NotAllocating, testing::ValuesIn(plainSetters), testName);

}  // namespace
}  // namespace refusal
