#include "flightpath/toolbox/sets.h"

#include <algorithm>
#include <cassert>

#include "flightpath/runtime/detail/conversion.h"
#include "flightpath/runtime/detail/view.h"

namespace {

using coder::array;

/// One input of the union: the run of equal values at its front, and where the kept ones came from.
class Runs {
 public:
  Runs(const array<int, 1>& values, array<int, 1>& origins) : values_(values), origins_(origins) {
    origins_.set_size(values.numel);
  }
  bool done() const { return first_ >= values_.numel; }
  int value() const { return values_[first_]; }
  void keepFirst() { origins_[kept_++] = first_ + 1; }
  void skip() {
    const int current = value();
    while (!done() && value() == current) {
      ++first_;
    }
  }
  void trim() { origins_.set_size(kept_); }

 private:
  const array<int, 1>& values_;
  array<int, 1>& origins_;
  int first_ = 0;
  int kept_ = 0;
};

int takeFront(Runs& from) {
  const int value = from.value();
  from.keepFirst();
  from.skip();
  return value;
}

}  // namespace

namespace coder {

void do_vectors(const array<int, 1>& a, const array<int, 1>& b, array<int, 1>& c, array<int, 1>& ia,
                array<int, 1>& ib) {
  assert(&c != &a && &c != &b && &c != &ia && &c != &ib && &ia != &ib);
  assert(&ia != &a && &ia != &b && &ib != &a && &ib != &b);
  c.set_size(
      flightpath::toElementCount(static_cast<double>(a.numel) + b.numel, "coder::do_vectors"));
  Runs fromA(a, ia);
  Runs fromB(b, ib);
  int count = 0;
  while (!fromA.done() || !fromB.done()) {
    const bool takeB = fromA.done() || (!fromB.done() && fromB.value() < fromA.value());
    if (!takeB && !fromB.done() && fromB.value() == fromA.value()) {
      fromB.skip();
    }
    c[count++] = takeFront(takeB ? fromB : fromA);
  }
  c.set_size(count);
  fromA.trim();
  fromB.trim();
}

void eml_find(const array<unsigned char, 2>& x, int* i, int i_size[2]) {
  const auto flags = flightpath::asRow(x);
  const auto first =
      std::ranges::find_if(flags, [](unsigned char flag) { return flag != 0; }) - flags.begin();
  const bool found = first < std::ssize(flags);
  i_size[0] = 1;
  i_size[1] = found ? 1 : 0;
  if (found) {
    *i = static_cast<int>(first) + 1;
  }
}

}  // namespace coder
