#include "flightpath/runtime/array.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <limits>
#include <new>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "flightpath/runtime/complex.h"
#include "tests/support/array_allocations.h"
#include "tests/support/builders.h"
#include "tests/support/same_bits.h"
#include "tests/support/slow_arrays.h"

using coder::array;
using support::AllocationWatch;
using support::element;
using support::fullArray;
using support::isNumbered;
using support::isZero;
using support::Members;
using support::number;
using support::resize;
using support::sameBits;
using support::setExtents;

namespace {

constexpr std::int32_t maxCount = std::numeric_limits<std::int32_t>::max();

template <class A>
class EveryArray : public testing::Test {
 public:
  using Element = std::remove_pointer_t<decltype(A::data)>;
};

using ArraysInUse = testing::Types<array<float, 1>, array<float, 2>, array<double, 1>,
                                   array<double, 2>, array<int, 1>, array<unsigned char, 2>,
                                   array<creal32_T, 1>, array<creal32_T, 2>>;
TYPED_TEST_SUITE(EveryArray, ArraysInUse);

}  // namespace

// All checks in this file are of the class EXACT.

TYPED_TEST(EveryArray, HoldsItsMembersInThePublishedOrder) {
  static_assert(std::is_standard_layout_v<TypeParam>);
  EXPECT_EQ(offsetof(TypeParam, data), 0U);
  EXPECT_EQ(offsetof(TypeParam, numel), sizeof(void*));
  EXPECT_EQ(offsetof(TypeParam, capacity), sizeof(void*) + 4);
  EXPECT_EQ(offsetof(TypeParam, owner), sizeof(void*) + 8);
  EXPECT_EQ(offsetof(TypeParam, size), sizeof(void*) + 12);
}

TYPED_TEST(EveryArray, StartsEmptyAndWithoutABuffer) {
  const AllocationWatch watch;
  const TypeParam a;
  EXPECT_EQ(a.data, nullptr);
  EXPECT_EQ(a.numel, 0);
  EXPECT_EQ(a.capacity, 0);
  EXPECT_FALSE(a.owner);
  for (const std::int32_t extent : a.size) {
    EXPECT_EQ(extent, 0);
  }
  EXPECT_EQ(watch.made(), 0);
}

TYPED_TEST(EveryArray, GrowsByDoublingFromSixteen) {
  struct Row {
    std::int32_t before;
    std::int32_t wanted;
    std::int32_t capacity;
    const char* why;
  };
  const Row rows[] = {
      {0, 1, 16, "the smallest buffer holds 16"},
      {0, 16, 16, "16 fit the smallest buffer"},
      {0, 17, 32, "17 take one doubling"},
      {0, 33, 64, "33 take two"},
      {0, 1000, 1024, "as many doublings as it takes"},
      {1, 2, 16, "a smaller buffer is raised to 16 first"},
      {15, 17, 32, "raised to 16, then doubled"},
      {16, 17, 32, "one more than the buffer holds"},
      {32, 33, 64, "one more than the buffer holds"},
      {20, 21, 40, "doubling starts from the old capacity"},
      {20, 40, 40, "exactly the doubled capacity"},
      {20, 41, 80, "one more than doubled"},
  };
  for (const Row& row : rows) {
    TypeParam a = fullArray<TypeParam>(row.before);
    const AllocationWatch watch;
    resize(a, row.wanted);
    EXPECT_EQ(a.capacity, row.capacity) << row.why;
    EXPECT_EQ(support::arrayAllocations().bytesWanted,
              static_cast<std::size_t>(row.capacity) * sizeof(*a.data))
        << row.why;
    EXPECT_EQ(a.numel, row.wanted) << row.why;
    EXPECT_TRUE(a.owner) << row.why;
    EXPECT_EQ(watch.made(), 1) << row.why;
    EXPECT_EQ(watch.released(), row.before > 0 ? 1 : 0) << row.why;
    EXPECT_TRUE(isNumbered(a, 0, row.before)) << row.why;
    EXPECT_TRUE(isZero(a, row.before, row.wanted)) << row.why;
  }
}

// No machine is asked for these buffers: the allocator notes what was wanted and refuses.
TYPED_TEST(EveryArray, CapacitySaturatesAtTheLargestCount) {
  struct Row {
    std::int32_t before;
    std::int32_t wanted;
    std::int32_t capacity;
    const char* why;
  };
  const Row rows[] = {
      {0, 1 << 30, 1 << 30, "the last power of two is reached by doubling"},
      {0, (1 << 30) + 1, maxCount, "2^30 is too small, and nothing doubles beyond it"},
      {0, maxCount, maxCount, "everything an array can hold"},
      {(1 << 30) - 1, 1 << 30, maxCount - 1, "the largest capacity that still doubles"},
      {(1 << 30) - 1, maxCount, maxCount, "one more than that capacity doubled"},
      {1 << 30, (1 << 30) + 1, maxCount, "the smallest capacity that no longer doubles"},
      {2000000000, 2000000001, maxCount, "far above it"},
      {600000000, 1200000000, 1200000000, "doubling past 2^30 reaches the count"},
      {600000000, 1200000001, maxCount, "doubling past 2^30 misses the count"},
  };
  typename TestFixture::Element stored[1] = {};
  for (const Row& row : rows) {
    TypeParam a;
    if (row.before > 0) {
      a.data = stored;
      a.capacity = row.before;
      setExtents(a, 1);
    }
    const Members before(a);
    {
      const support::RefusingAllocator refusing;
      EXPECT_THROW(resize(a, row.wanted), std::bad_alloc) << row.why;
    }
    EXPECT_EQ(support::arrayAllocations().bytesWanted,
              static_cast<std::size_t>(row.capacity) * sizeof(*a.data))
        << row.why;
    EXPECT_TRUE(Members(a) == before) << row.why;
  }
}

TYPED_TEST(EveryArray, ZeroesWhatComesBackAfterShrinking) {
  TypeParam a;
  resize(a, 10);
  number(a, 0, 10);
  const AllocationWatch watch;
  resize(a, 3);
  EXPECT_EQ(a.numel, 3);
  resize(a, 10);
  EXPECT_TRUE(isNumbered(a, 0, 3));
  EXPECT_TRUE(isZero(a, 3, 10));
  resize(a, 16);
  EXPECT_TRUE(isZero(a, 3, 16)) << "the rest of the first buffer";
  EXPECT_EQ(watch.made(), 0);
}

TYPED_TEST(EveryArray, ShrinkingNeitherClearsNorReleases) {
  TypeParam a = fullArray<TypeParam>(40);
  const auto* const buffer = a.data;
  const AllocationWatch watch;
  for (const std::int32_t n : {39, 17, 1, 0}) {
    resize(a, n);
    EXPECT_EQ(a.numel, n);
    EXPECT_EQ(a.data, buffer);
    EXPECT_EQ(a.capacity, 40);
    EXPECT_TRUE(a.owner);
    EXPECT_TRUE(isNumbered(a, 0, 40)) << "the buffer behind " << n << " elements";
  }
  EXPECT_EQ(watch.made(), 0);
  EXPECT_EQ(watch.released(), 0);
}

TYPED_TEST(EveryArray, SizeZeroOfAnEmptyArrayAllocatesNothing) {
  TypeParam a;
  const AllocationWatch watch;
  resize(a, 0);
  EXPECT_EQ(a.data, nullptr);
  EXPECT_EQ(a.capacity, 0);
  EXPECT_FALSE(a.owner);
  EXPECT_EQ(watch.made(), 0);
}

TYPED_TEST(EveryArray, ReleasesItsBufferOnce) {
  const AllocationWatch watch;
  {
    TypeParam a;
    resize(a, 5);
    resize(a, 0);
  }
  EXPECT_EQ(watch.made(), 1);
  EXPECT_EQ(watch.released(), 1);
}

TYPED_TEST(EveryArray, CopiesDeeplyByTheGrowthRule) {
  const TypeParam a = fullArray<TypeParam>(20);
  TypeParam copy(a);
  EXPECT_TRUE(sameBits(copy, a));
  EXPECT_NE(copy.data, a.data);
  EXPECT_EQ(copy.capacity, 32) << "grown from nothing, whatever the source's capacity";
  EXPECT_TRUE(copy.owner);
  copy[0] = element<typename TestFixture::Element>(99);
  EXPECT_TRUE(isNumbered(a, 0, 20)) << "the source does not see the change";
}

TYPED_TEST(EveryArray, CopyOfAnEmptyArrayHasNoBuffer) {
  TypeParam a = fullArray<TypeParam>(20);
  resize(a, 0);
  const AllocationWatch watch;
  const TypeParam copy(a);
  EXPECT_EQ(copy.data, nullptr);
  EXPECT_EQ(copy.numel, 0);
  EXPECT_TRUE(sameBits(copy, a)) << "extents";
  EXPECT_EQ(watch.made(), 0);
}

TYPED_TEST(EveryArray, AssignmentKeepsABufferThatIsLargeEnough) {
  TypeParam a = fullArray<TypeParam>(20);
  const auto* const buffer = a.data;
  const TypeParam shorter = fullArray<TypeParam>(7);
  const AllocationWatch watch;
  a = shorter;
  EXPECT_TRUE(sameBits(a, shorter));
  EXPECT_EQ(a.data, buffer);
  EXPECT_EQ(a.capacity, 20);
  EXPECT_EQ(watch.made(), 0);
}

TYPED_TEST(EveryArray, AssignmentGrowsFromTheOldCapacity) {
  TypeParam a = fullArray<TypeParam>(20);
  const TypeParam longer = fullArray<TypeParam>(21);
  a = longer;
  EXPECT_TRUE(sameBits(a, longer));
  EXPECT_EQ(a.capacity, 40);
}

TYPED_TEST(EveryArray, SelfAssignmentChangesNothing) {
  TypeParam a = fullArray<TypeParam>(20);
  const Members before(a);
  const AllocationWatch watch;
  TypeParam& same = a;
  a = same;
  a = std::move(same);
  EXPECT_TRUE(Members(a) == before);
  EXPECT_TRUE(isNumbered(a, 0, 20));
  EXPECT_EQ(watch.made() + watch.released(), 0);
}

TYPED_TEST(EveryArray, MovingTakesTheBufferAndLeavesAnEmptyArray) {
  TypeParam a = fullArray<TypeParam>(20);
  const Members before(a);
  const Members empty{TypeParam()};
  const AllocationWatch watch;
  TypeParam b(std::move(a));
  EXPECT_TRUE(Members(b) == before);
  EXPECT_TRUE(Members(a) == empty);  // NOLINT(bugprone-use-after-move)
  TypeParam c;
  c = std::move(b);
  EXPECT_TRUE(Members(c) == before);
  EXPECT_TRUE(Members(b) == empty);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(watch.made() + watch.released(), 0) << "nothing copied";
  resize(a, 2);
  EXPECT_EQ(a.capacity, 16) << "a moved-from array can be used again";
}

TYPED_TEST(EveryArray, MoveAssignmentReleasesTheOldBuffer) {
  TypeParam a = fullArray<TypeParam>(20);
  TypeParam b = fullArray<TypeParam>(7);
  const AllocationWatch watch;
  a = std::move(b);
  EXPECT_EQ(watch.released(), 1);
  EXPECT_EQ(a.capacity, 7);
}

TYPED_TEST(EveryArray, RefusedAllocationLeavesItAsItWas) {
  TypeParam a = fullArray<TypeParam>(20);
  const TypeParam longer = fullArray<TypeParam>(21);
  const Members before(a);
  const AllocationWatch watch;
  {
    const support::RefusingAllocator refusing;
    EXPECT_THROW(resize(a, 21), std::bad_alloc);
    EXPECT_THROW(a = longer, std::bad_alloc);
    EXPECT_THROW(TypeParam copy(longer), std::bad_alloc);
    EXPECT_NO_THROW(resize(a, 20)) << "nothing to allocate";
  }
  EXPECT_TRUE(Members(a) == before);
  EXPECT_TRUE(isNumbered(a, 0, 20));
  EXPECT_EQ(watch.made() + watch.released(), 0);
}

// A caller writes the extents first and asks for the elements next, in either form: what is held until
// then is told by the count alone. Runs where assertions are on.
TYPED_TEST(EveryArray, TakesExtentsThatTheCallerWroteFirst) {
  struct Row {
    std::int32_t before;
    std::int32_t wanted;
    std::int32_t capacity;
    const char* why;
  };
  const Row rows[] = {
      {0, 1, 16, "the smallest buffer"},
      {0, 17, 32, "one doubling"},
      {20, 21, 40, "growth"},
      {20, 20, 20, "as it was"},
      {20, 3, 20, "shrinking"},
      {20, 0, 20, "no element: the buffer stays"},
      {0, 0, 0, "no element and no buffer"},
  };
  for (const Row& row : rows) {
    for (const bool namedAgain : {false, true}) {
      TypeParam a = fullArray<TypeParam>(row.before);
      a.size[0] = 1;
      a.size[std::size(a.size) - 1] = row.wanted;
      namedAgain ? resize(a, row.wanted) : a.set_size();
      EXPECT_EQ(a.numel, row.wanted) << row.why;
      EXPECT_EQ(a.capacity, row.capacity) << row.why;
      EXPECT_EQ(a.size[std::size(a.size) - 1], row.wanted) << row.why;
      EXPECT_TRUE(isNumbered(a, 0, std::min(row.before, row.wanted))) << row.why;
      EXPECT_TRUE(isZero(a, std::min(row.before, row.wanted), row.wanted)) << row.why;
    }
  }
}

TEST(WrittenExtents, OfAMatrixAreBothTaken_ShrinkingThenGrowingClears) {
  array<int, 2> a = support::matrix<int>(2, 3, {1, 2, 3, 4, 5, 6});
  a.size[0] = 1;
  a.set_size();
  EXPECT_EQ(a.numel, 3);
  a.size[0] = 3;
  a.size[1] = 2;
  a.set_size();
  EXPECT_TRUE(sameBits(a, support::matrix<int>(3, 2, {1, 2, 3, 0, 0, 0})));
}

TEST(WrittenExtents, ImpossibleOnesAreLengthErrors_TheElementsStay) {
  for (const auto& [rows, cols] : {std::pair{-1, 2}, {2, -1}, {46341, 46341}}) {
    array<int, 2> a = support::matrix<int>(2, 2, {1, 2, 3, 4});
    const int* const buffer = a.data;
    a.size[0] = rows;
    a.size[1] = cols;
    EXPECT_THROW(a.set_size(), std::length_error) << rows << " x " << cols;
    EXPECT_EQ(a.numel, 4);
    EXPECT_EQ(a.data, buffer);
    EXPECT_TRUE(isNumbered(a, 0, 4));
  }
}

TEST(ArrayAssertions, SeeACountBeyondTheBufferAndExtentsThatAreNotHeld) {
#ifdef NDEBUG
  GTEST_SKIP() << "a build without assertions";
#else
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  array<int, 1> column = support::column({1, 2, 3});
  array<int, 1> copy;
  column.size[0] = 4;  // written, and never asked for
  EXPECT_DEATH(copy = column, "holdsItsExtents");
  column.numel = column.size[0] = column.capacity + 1;
  EXPECT_DEATH(column.set_size(1), "isWithinCapacity");
  EXPECT_DEATH(copy = column, "isWithinCapacity");
  column.numel = column.size[0] = -1;
  EXPECT_DEATH(column.set_size(1), "isWithinCapacity");
#endif
}

TEST(ColumnMajor, ElementStandsAtRowPlusColumnTimesRows) {
  array<int, 2> a;
  a.set_size(3, 4);
  for (int k = 0; k < 12; ++k) {
    a[k] = k;
  }
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 4; ++j) {
      EXPECT_EQ(a(i, j), i + 3 * j);
      EXPECT_EQ(std::as_const(a)(i, j), i + 3 * j);
    }
  }
}

TEST(ColumnMajor, ResizingRenamesTheStoredElements) {
  array<int, 2> a = support::matrix<int>(2, 3, {0, 1, 2, 3, 4, 5});
  const int* const buffer = a.data;
  a.set_size(3, 2);
  EXPECT_EQ(a.data, buffer);
  EXPECT_EQ(a(2, 0), 2);
  EXPECT_EQ(a(0, 1), 3);
  a.set_size(0, 7);
  EXPECT_EQ(a.numel, 0);
  EXPECT_EQ(a.size[1], 7);
  a.set_size(7, 0);
  EXPECT_EQ(a.size[0], 7);
  EXPECT_EQ(a.data, buffer);
}

TEST(ArrayExtents, ImpossibleOnesAreLengthErrorsAndChangeNothing) {
  struct Row {
    std::int32_t rows;
    std::int32_t cols;
    const char* why;
  };
  const Row rows[] = {
      {-1, 2, "negative rows"},
      {2, -1, "negative columns"},
      {-2, -3, "a positive product of negatives"},
      {0, -1, "an empty product with a negative"},
      {-1, 0, "an empty product with a negative"},
      {std::numeric_limits<std::int32_t>::min(), 1, "the most negative"},
      {46341, 46341, "the smallest square above 2147483647"},
      {65536, 32768, "2^31, one more than an array holds"},
      {65536, 65536, "2^32, which is 0 in 32 bits"},
      {maxCount, 2, "the largest extent twice"},
      {maxCount, maxCount, "the largest product"},
  };
  array<float, 2> a = support::matrix<float>(2, 2, {1, 2, 3, 4});
  const Members before(a);
  const AllocationWatch watch;
  for (const Row& row : rows) {
    EXPECT_THROW(a.set_size(row.rows, row.cols), std::length_error) << row.why;
    EXPECT_TRUE(Members(a) == before) << row.why;
  }
  EXPECT_EQ(watch.made(), 0);
  EXPECT_TRUE(isNumbered(a, 0, 4));
}

TEST(ArrayExtents, TooManyElementsAreRefusedByTheNamesOfTheExtents) {
  array<float, 2> a;
  try {
    a.set_size(46341, 65536);
    ADD_FAILURE() << "not refused";
  } catch (const std::length_error& error) {
    EXPECT_STREQ(error.what(), "coder::array: 46341 x 65536 elements; the most is 2147483647");
  }
}

TEST(ArrayExtents, NegativeColumnLengthIsALengthErrorAndChangesNothing) {
  array<int, 1> a = support::column({1, 2, 3});
  const Members before(a);
  EXPECT_THROW(a.set_size(-1), std::length_error);
  EXPECT_THROW(a.set_size(std::numeric_limits<std::int32_t>::min()), std::length_error);
  EXPECT_TRUE(Members(a) == before);
  EXPECT_TRUE(isNumbered(a, 0, 3));
}

TEST(ArrayExtents, ProductIsTakenAsTheLimitAllows) {
  array<unsigned char, 2> a;
  const support::RefusingAllocator refusing;
  EXPECT_THROW(a.set_size(46341, 46340), std::bad_alloc) << "2147441940 elements: a size";
  EXPECT_THROW(a.set_size(maxCount, 1), std::bad_alloc) << "exactly the largest count";
  EXPECT_NO_THROW(a.set_size(maxCount, 0)) << "a large extent of an empty array";
}

// A view that is shorter than what it is assigned, over the same buffer: nothing is cleared before
// it is copied.
TEST(ArrayCopy, IntoAShorterViewOfTheSourceKeepsTheElements) {
  array<int, 1> source;
  source.set_size(8);
  for (int i = 0; i < 8; ++i) {
    source[i] = i + 1;
  }
  array<int, 1> view;
  view.data = source.data;
  view.numel = view.size[0] = 2;
  view.capacity = source.capacity;
  view = source;
  EXPECT_EQ(view.data, source.data);
  EXPECT_EQ(view.numel, 8);
  for (int i = 0; i < 8; ++i) {
    EXPECT_EQ(view[i], i + 1);
  }
}
