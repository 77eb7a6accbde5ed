#include "flightpath/runtime/detail/view.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "flightpath/runtime/complex.h"
#include "tests/support/builders.h"
#include "tests/support/same_bits.h"
#include "tests/support/slow_arrays.h"

using coder::array;

namespace {

/// rows x cols without a buffer: only one of the extents can be non-zero.
array<float, 2> emptyMatrix(int rows, int cols) {
  array<float, 2> a;
  a.set_size(rows, cols);
  return a;
}

}  // namespace

// All checks in this file are of the class EXACT.

TEST(Elements, AreTheLiveOnesInStorageOrder) {
  array<float, 2> a = support::matrix<float>(2, 3, {1, 2, 3, 4, 5, 6});
  EXPECT_EQ(flightpath::elements(a).data(), a.data);
  EXPECT_EQ(flightpath::elements(a).size(), 6U);
  a.set_size(1, 2);
  EXPECT_EQ(flightpath::elements(std::as_const(a)).size(), 2U) << "not what the buffer holds";
  EXPECT_TRUE(flightpath::elements(array<float, 1>()).empty());
}

TEST(AsMatrix, SharesTheColumnWithoutOwningIt) {
  const array<float, 1> a = support::column({1.0F, 2.0F, 3.0F});
  {
    const array<float, 2> view = flightpath::asMatrix(a);
    EXPECT_EQ(view.data, a.data);
    EXPECT_EQ(view.numel, 3);
    EXPECT_EQ(view.capacity, a.capacity);
    EXPECT_EQ(view.size[0], 3);
    EXPECT_EQ(view.size[1], 1);
    EXPECT_FALSE(view.owner);
  }
  EXPECT_EQ(a[2], 3.0F) << "the view's end does not end the column";
}

TEST(AsMatrix, OfAnEmptyColumnHasNoRows) {
  const array<float, 2> view = flightpath::asMatrix(array<float, 1>());
  EXPECT_EQ(view.numel, 0);
  EXPECT_EQ(view.size[0], 0);
  EXPECT_EQ(view.size[1], 1);
}

TEST(MatrixColumn, StartsAfterTheColumnsBeforeIt) {
  array<float, 2> a = support::matrix<float>(2, 3, {1, 2, 3, 4, 5, 6});
  EXPECT_EQ(flightpath::column(a, 0).data(), a.data);
  EXPECT_EQ(flightpath::column(std::as_const(a), 2).data(), a.data + 4);
  EXPECT_EQ(flightpath::column(std::as_const(a), 2).size(), 2U);
  flightpath::column(a, 1)[1] = 9.0F;
  EXPECT_EQ(a(1, 1), 9.0F) << "a writable view";
}

TEST(AsRow, ReadsNoFurtherThanThereAreElements) {
  const array<float, 2> matrix = support::matrix<float>(2, 3, {1, 2, 3, 4, 5, 6});
  EXPECT_EQ(flightpath::asRow(matrix).size(), 3U) << "as many as columns, in storage order";
  EXPECT_EQ(flightpath::asRow(support::row({1.0F, 2.0F})).size(), 2U);
  EXPECT_EQ(flightpath::asRow(emptyMatrix(0, 4)).size(), 0U) << "columns without an element";
  EXPECT_EQ(flightpath::asRow(emptyMatrix(4, 0)).size(), 0U);
  EXPECT_EQ(flightpath::asRow(array<float, 2>()).size(), 0U);
}

TEST(IsGiven, WantsAtLeastOneElement) {
  EXPECT_TRUE(flightpath::isGiven(support::row({0.0F})));
  EXPECT_TRUE(flightpath::isGiven(support::matrix<float>(2, 2, {1, 2, 3, 4})));
  EXPECT_FALSE(flightpath::isGiven(array<float, 2>()));
  EXPECT_FALSE(flightpath::isGiven(emptyMatrix(1, 0)));
  EXPECT_FALSE(flightpath::isGiven(emptyMatrix(0, 1))) << "a column without an element";
  EXPECT_FALSE(flightpath::isGiven(emptyMatrix(0, 0)));
}

TEST(SetRow, ReplacesShapeAndElements) {
  array<float, 2> row = support::matrix<float>(3, 2, {9, 9, 9, 9, 9, 9});
  flightpath::setRow(row, std::vector<float>{1, 2});
  EXPECT_TRUE(support::sameBits(row, support::row({1.0F, 2.0F})));
  flightpath::setRow(row, std::vector<float>(20, 7.0F));
  EXPECT_TRUE(support::sameBits(row, support::row(std::vector<float>(20, 7.0F))));
  flightpath::setRow(row, std::span<const float>());
  EXPECT_EQ(row.size[0], 1);
  EXPECT_EQ(row.size[1], 0);
}

TEST(SetRow, TakesAPartOfItself) {
  array<float, 2> row = support::row({1.0F, 2.0F, 3.0F, 4.0F, 5.0F});
  flightpath::setRow(row, flightpath::elements(row).subspan(1, 3));
  EXPECT_TRUE(support::sameBits(row, support::row({2.0F, 3.0F, 4.0F})));
}

TEST(SetScalar, LeavesOneElement) {
  array<float, 2> a = support::row({1.0F, 2.0F});
  flightpath::setScalar(a, 5.0F);
  EXPECT_TRUE(support::sameBits(a, support::row({5.0F})));
  array<float, 2> fresh;
  flightpath::setScalar(fresh, 6.0F);
  EXPECT_TRUE(support::sameBits(fresh, support::row({6.0F})));
}

namespace {

/// A view over the first elements of a numbered buffer of eight that the test owns. The buffer is
/// no allocation: the allocator would abort on its release.
class ArrayView : public testing::Test {
 protected:
  static array<int, 1> over(int* buffer, std::int32_t numel) {
    array<int, 1> view;
    view.data = buffer;
    view.capacity = 8;
    support::setExtents(view, numel);
    return view;
  }

  int buffer_[8] = {1, 2, 3, 4, 5, 6, 7, 8};
};

}  // namespace

TEST_F(ArrayView, IsNeverReleased) {
  {
    array<int, 1> view = over(buffer_, 8);
    view.set_size(0);
    array<int, 1> target = over(buffer_, 8);
    target = std::move(view);
    EXPECT_FALSE(target.owner);
  }
  EXPECT_TRUE(support::isNumbered(over(buffer_, 8), 0, 8));
}

TEST_F(ArrayView, StaysAViewWithinItsCapacity) {
  array<int, 1> view = over(buffer_, 3);
  view.set_size(5);
  EXPECT_EQ(view.data, buffer_);
  EXPECT_FALSE(view.owner);
  EXPECT_TRUE(support::isNumbered(view, 0, 3));
  EXPECT_TRUE(support::isZero(view, 3, 5)) << "in the caller's buffer";
  EXPECT_EQ(buffer_[5], 6) << "not an element";
}

TEST_F(ArrayView, IsReplacedByAnOwnedBufferOnGrowth) {
  array<int, 1> view = over(buffer_, 8);
  view.set_size(9);
  EXPECT_NE(view.data, buffer_);
  EXPECT_TRUE(view.owner);
  EXPECT_EQ(view.capacity, 16);
  EXPECT_TRUE(support::isNumbered(view, 0, 8));
  EXPECT_EQ(view[8], 0);
  view[0] = 99;
  EXPECT_EQ(buffer_[0], 1) << "the caller's buffer is out of reach";
}

TEST_F(ArrayView, IsCopiedIntoAnOwnedBuffer) {
  const array<int, 1> view = over(buffer_, 8);
  const array<int, 1> copy(view);
  EXPECT_NE(copy.data, buffer_);
  EXPECT_TRUE(copy.owner);
  EXPECT_TRUE(support::sameBits(copy, view));
}

TEST_F(ArrayView, MovesAsAView) {
  array<int, 1> view = over(buffer_, 8);
  const support::Members before(view);
  const array<int, 1> moved(std::move(view));
  EXPECT_TRUE(support::Members(moved) == before);
  EXPECT_EQ(view.data, nullptr);  // NOLINT(bugprone-use-after-move)
}

TEST_F(ArrayView, TakesAnAssignmentIntoTheCallersBuffer) {
  array<int, 1> view = over(buffer_, 8);
  const array<int, 1> source = support::column({10, 20});
  view = source;
  EXPECT_EQ(view.data, buffer_);
  EXPECT_TRUE(support::sameBits(view, source));
  EXPECT_EQ(buffer_[2], 3) << "not an element";
}

TEST_F(ArrayView, OfTheTargetsTailIsCopiedInOrder) {
  array<int, 1> target = over(buffer_, 8);
  const array<int, 1> tail = over(buffer_ + 2, 6);
  target = tail;
  EXPECT_TRUE(support::sameBits(target, support::column({3, 4, 5, 6, 7, 8})));
}
