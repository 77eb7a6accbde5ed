#include <cmath>
#include <vector>

#include "tests/refusal/failure_points.h"
#include "tests/support/builders.h"

namespace refusal {
namespace {

using Column = coder::array<float, 1>;
using Positions = coder::array<int, 1>;
using support::column;

/// Peaks of many heights, NaNs and infinities between them; long enough for every stage of the sorts.
Column wavy(int n) {
  std::vector<float> y;
  for (int k = 0; k < n; ++k) {
    const auto t = static_cast<float>(k);
    y.push_back(std::sin(0.7F * t) + 0.3F * std::sin(0.05F * t * t));
  }
  y[static_cast<std::size_t>(n / 3)] = std::numeric_limits<float>::quiet_NaN();
  y[static_cast<std::size_t>(n / 2)] = std::numeric_limits<float>::infinity();
  return column(y);
}

struct Peaks {
  Column heights;
  coder::array<double, 1> positions;

  auto parts() const { return std::tie(heights, positions); }
};

struct Lists {
  Positions first;
  Positions second;
  Positions third;

  auto parts() const { return std::tie(first, second, third); }
};

using Sorted = std::tuple<Column, Positions>;

const Case toolboxCases[] = {
    {"findpeaks by count",
     [] {
       return filling<Peaks>(wavy(300), [](const Column& y, Peaks& p) {
         coder::findpeaks(y, 20.0F, p.heights, p.positions);
       });
     }},
    {"findpeaks by height",
     [] {
       return filling<Peaks>(wavy(300), [](const Column& y, Peaks& p) {
         coder::findpeaks(y, 20.0F, 0.5F, p.heights, p.positions);
       });
     }},
    {"findpeaks into results of another search",
     [] {
       return changing(wavy(300), Peaks{column({1.0F}), column({7.0})},
                       [](const Column& y, Peaks& p) {
                         coder::findpeaks(y, 50.0F, 0.1F, p.heights, p.positions);
                       });
     }},
    {"scanPeaks",
     [] {
       return filling<Lists>(wavy(300), [](const Column& y, Lists& lists) {
         coder::scanPeaks(y, lists.first, lists.second, lists.third);
       });
     }},
    {"do_vectors",
     [] {
       return filling<Lists>(
           std::tuple(column({1, 3, 5, 7}), column({2, 3, 4})), [](const auto& in, Lists& out) {
             coder::do_vectors(std::get<0>(in), std::get<1>(in), out.first, out.second, out.third);
           });
     }},
    {"ascending sort",
     [] {
       return changing(Nothing(), wavy(600), [](auto&, Column& x) { coder::internal::sort(x); });
     },
     Outcome::Succeeded, true},
    {"descending sort with permutation",
     [] {
       return changing(Nothing(), Sorted(wavy(600), {}), [](auto&, Sorted& s) {
         coder::internal::sort(std::get<0>(s), std::get<1>(s));
       });
     },
     Outcome::Succeeded, true},
    {"linspace in single precision",
     [] {
       return filling<coder::array<float, 2>>(
           Nothing(), [](auto&, auto& y) { coder::linspace(-1.0F, 1.0F, 101.0F, y); });
     }},
    {"linspace in double precision",
     [] {
       return filling<coder::array<double, 2>>(
           Nothing(), [](auto&, auto& y) { coder::linspace(6.0, 101.0, y); });
     }},
    {"linspace of too many points",
     [] {
       return filling<coder::array<float, 2>>(
           Nothing(), [](auto&, auto& y) { coder::linspace(-1.0F, 1.0F, 1e20F, y); });
     },
     Outcome::LengthError, true},
    {"sum over more columns than a block",
     [] {
       return filling<Column>(support::matrix(20, 2500, std::vector<float>(50000, 0.1F)),
                              [](const auto& x, Column& y) { coder::sum(x, y); });
     }},
};

INSTANTIATE_TEST_SUITE_P(Toolbox, Allocating, testing::ValuesIn(toolboxCases), testName);

}  // namespace
}  // namespace refusal
