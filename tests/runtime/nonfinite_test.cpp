#include "flightpath/runtime/nonfinite.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>

// EXACT: bit patterns, the empty payload and the sign of the NaNs included.
TEST(NonFinite, DoublesHaveTheirBits) {
  EXPECT_EQ(std::bit_cast<std::uint64_t>(rtInf), 0x7FF0000000000000U);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(rtMinusInf), 0xFFF0000000000000U);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(rtNaN), 0x7FF8000000000000U);
}

TEST(NonFinite, FloatsHaveTheirBits) {
  EXPECT_EQ(std::bit_cast<std::uint32_t>(rtInfF), 0x7F800000U);
  EXPECT_EQ(std::bit_cast<std::uint32_t>(rtMinusInfF), 0xFF800000U);
  EXPECT_EQ(std::bit_cast<std::uint32_t>(rtNaNF), 0x7FC00000U);
}

TEST(NonFinite, GettersReturnTheirConstants) {
  EXPECT_EQ(std::bit_cast<std::uint64_t>(rtGetInf()), 0x7FF0000000000000U);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(rtGetMinusInf()), 0xFFF0000000000000U);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(rtGetNaN()), 0x7FF8000000000000U);
  EXPECT_EQ(std::bit_cast<std::uint32_t>(rtGetInfF()), 0x7F800000U);
  EXPECT_EQ(std::bit_cast<std::uint32_t>(rtGetMinusInfF()), 0xFF800000U);
  EXPECT_EQ(std::bit_cast<std::uint32_t>(rtGetNaNF()), 0x7FC00000U);
}
