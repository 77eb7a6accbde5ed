#include "flightpath/toolbox/sorting.h"

#include <algorithm>
#include <cmath>

#include "flightpath/toolbox/detail/run_merging.h"

namespace {

using coder::array;
using flightpath::KeyedValues;

constexpr int groupLength = 4;    // what the presort orders at once
constexpr int blockLength = 256;  // what is merged through scratch that stays in the nearest cache

struct KeyedValue {
  int idx;
  float x;
};

/// Up to four values waiting to be ordered and written to the front of the output.
class Group {
 public:
  void add(KeyedValue v) { members_[count_++] = v; }
  bool full() const { return count_ == groupLength; }
  int count() const { return count_; }

  /// Insertion: the smallest stable network for four, with the order of the merges.
  template <class LeftFirst>
  void writeOrdered(KeyedValues out, LeftFirst leftFirst) {
    for (int k = 0; k < count_; ++k) {
      int place = k;
      while (place > 0 && !leftFirst(out.x[place - 1], members_[k].x)) {
        out.x[place] = out.x[place - 1];
        out.idx[place] = out.idx[place - 1];
        --place;
      }
      out.x[place] = members_[k].x;
      out.idx[place] = members_[k].idx;
    }
    count_ = 0;
  }

 private:
  KeyedValue members_[groupLength] = {};
  int count_ = 0;
};

/// Moves the NaNs of `x` behind the numbers, both in their order of appearance, and orders the
/// numbers in groups of four. Returns how many numbers there are.
///
/// x    values (in), values with their NaNs at the end (out)
/// out  written; may not be x itself
template <class LeftFirst>
int separateAndPresort(const array<float, 1>& x, KeyedValues out, LeftFirst leftFirst) {
  const int n = x.numel;
  Group group;
  int written = 0;
  int numNaN = 0;
  for (int k = 0; k < n; ++k) {
    if (std::isnan(x[k])) {
      ++numNaN;
      out.x[n - numNaN] = x[k];
      out.idx[n - numNaN] = k + 1;
      continue;
    }
    group.add({k + 1, x[k]});
    if (group.full()) {
      group.writeOrdered(out.from(written), leftFirst);
      written += groupLength;
    }
  }
  written += group.count();
  group.writeOrdered(out.from(written - group.count()), leftFirst);
  std::reverse(out.x + written, out.x + n);
  std::reverse(out.idx + written, out.idx + n);
  return written;
}

/// Merges groups of four into one run: first every complete block of 256 through scratch of its
/// own size, then the blocks.
template <class LeftFirst>
void mergeGroups(KeyedValues v, int n, KeyedValues work, LeftFirst leftFirst) {
  int run = groupLength;
  if (n >= blockLength) {
    int blockIdx[blockLength];
    float blockX[blockLength];
    const KeyedValues blockWork = {blockIdx, blockX};
    const int complete = n - n % blockLength;
    for (int start = 0; start < complete; start += blockLength) {
      flightpath::mergeBlock(v.from(start), blockLength, groupLength, blockWork, leftFirst);
    }
    flightpath::mergeBlock(v.from(complete), n - complete, groupLength, work, leftFirst);
    run = blockLength;
  }
  flightpath::mergeBlock(v, n, run, work, leftFirst);
}

/// Sorts `x` with its 1-based permutation `idx`, NaNs last. Returns how many numbers there are.
template <class LeftFirst>
int sortNumbersFirst(array<float, 1>& x, array<int, 1>& idx, LeftFirst leftFirst) {
  const int n = x.numel;
  array<int, 1> iwork;
  array<float, 1> xwork;
  iwork.set_size(n);
  xwork.set_size(n);
  idx.set_size(n);
  const KeyedValues sorted = {idx.data, xwork.data};
  const int numNumbers = separateAndPresort(x, sorted, leftFirst);
  std::copy_n(xwork.data, n, x.data);
  mergeGroups({idx.data, x.data}, numNumbers, {iwork.data, xwork.data}, leftFirst);
  return numNumbers;
}

}  // namespace

namespace coder::internal {

void sort(array<float, 1>& x) {
  array<int, 1> idx;
  sortNumbersFirst(x, idx, flightpath::Ascending());
}

void sort(array<float, 1>& x, array<int, 1>& idx) {
  const int numNumbers = sortNumbersFirst(x, idx, flightpath::Descending());
  std::rotate(x.begin(), x.begin() + numNumbers, x.end());
  std::rotate(idx.begin(), idx.begin() + numNumbers, idx.end());
}

}  // namespace coder::internal
