#include <array>
#include <numeric>

#include "tests/refusal/failure_points.h"
#include "tests/support/builders.h"

// The container. Its documentation promises that an array is unchanged by either error.

namespace refusal {
namespace {

using FloatColumn = coder::array<float, 1>;
using FloatMatrix = coder::array<float, 2>;
using ComplexMatrix = coder::array<creal32_T, 2>;
using support::column;
using support::row;

const FloatColumn& three() {
  static const FloatColumn values = column({1.0F, 2.0F, 3.0F});
  return values;
}

FloatColumn many() {
  FloatColumn values;
  values.set_size(100);
  std::iota(values.begin(), values.end(), 1.0F);
  return values;
}

/// Four floats that belong to the record, seen through an array that does not own them.
struct Borrowed {
  std::array<float, 4> buffer = {1.0F, 2.0F, 3.0F, 4.0F};
  FloatColumn view;

  void look() {
    view.data = buffer.data();
    view.numel = view.capacity = view.size[0] = 4;
  }
  auto parts() const { return std::tie(view, buffer[0], buffer[1], buffer[2], buffer[3]); }
};

const Case arrayCases[] = {
    {"first buffer of a column",
     [] { return filling<FloatColumn>(Nothing(), [](auto&, auto& a) { a.set_size(5); }); },
     Outcome::Succeeded, true},
    {"first buffer of a matrix",
     [] { return filling<ComplexMatrix>(Nothing(), [](auto&, auto& a) { a.set_size(5, 7); }); },
     Outcome::Succeeded, true},
    {"first buffer of a matrix of bytes",
     [] {
       return filling<coder::array<unsigned char, 2>>(Nothing(),
                                                      [](auto&, auto& a) { a.set_size(3, 9); });
     },
     Outcome::Succeeded, true},
    {"growth of a column that holds values",
     [] { return changing(Nothing(), three(), [](auto&, auto& a) { a.set_size(1000); }); },
     Outcome::Succeeded, true},
    {"growth of a matrix that holds values",
     [] {
       return changing(Nothing(), row({1.0F, 2.0F}), [](auto&, auto& a) { a.set_size(40, 40); });
     },
     Outcome::Succeeded, true},
    {"growth of a view",
     [] {
       return filling<Borrowed>(Nothing(), [](auto&, Borrowed& b) {
         b.look();
         b.view.set_size(30);
       });
     }},
    {"copy of a column",
     [] {
       return filling<FloatColumn>(many(), [](const FloatColumn& from, FloatColumn& to) {
         FloatColumn copy(from);
         to = std::move(copy);
       });
     },
     Outcome::Succeeded, true},
    {"assignment of a longer column",
     [] {
       return changing(many(), three(),
                       [](const FloatColumn& from, FloatColumn& to) { to = from; });
     },
     Outcome::Succeeded, true},
    {"assignment of a larger matrix",
     [] {
       return changing(
           ComplexMatrix(support::matrix(5, 5, std::vector<creal32_T>(25, {1.0F, 2.0F}))),
           ComplexMatrix(), [](const ComplexMatrix& from, ComplexMatrix& to) { to = from; });
     },
     Outcome::Succeeded, true},
    {"negative extent",
     [] { return changing(Nothing(), three(), [](auto&, auto& a) { a.set_size(-1); }); },
     Outcome::LengthError, true},
    {"too many elements",
     [] {
       return changing(Nothing(), row({1.0F}), [](auto&, auto& a) { a.set_size(65536, 65536); });
     },
     Outcome::LengthError, true},
};

const Case withinCapacity[] = {
    {"growth within the capacity",
     [] { return changing(Nothing(), three(), [](auto&, auto& a) { a.set_size(16); }); }},
    {"assignment of a shorter column",
     [] {
       return changing(three(), many(),
                       [](const FloatColumn& from, FloatColumn& to) { to = from; });
     }},
    {"assignment to itself",
     [] {
       return changing(Nothing(), three(), [](auto&, FloatColumn& a) {
         const FloatColumn& same = a;
         a = same;
       });
     }},
    {"move",
     [] {
       return changing(Nothing(), many(), [](auto&, FloatColumn& a) {
         FloatColumn taken(std::move(a));
         a = std::move(taken);
       });
     }},
};

INSTANTIATE_TEST_SUITE_P(Array, Allocating, testing::ValuesIn(arrayCases), testName);
INSTANTIATE_TEST_SUITE_P(Array, NotAllocating, testing::ValuesIn(withinCapacity), testName);

}  // namespace
}  // namespace refusal
