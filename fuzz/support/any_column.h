#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <random>
#include <vector>

#include "fuzz/support/any_float.h"

/// Columns of floats. A few bytes describe a long one, so that the fuzzer reaches lengths beyond
/// every block size with small inputs.
namespace fuzz {

using Column = std::vector<float>;

/// How long the next stretch of a column is: short, up to a seam of the blocks or one to either
/// side of it, or any part of what is left.
inline std::size_t stretchLength(FuzzedDataProvider& in, std::size_t size, std::size_t block,
                                 std::size_t left) {
  std::size_t length = 0;
  switch (in.ConsumeIntegralInRange(0, 3)) {
    case 0:
    case 1:
      length = in.ConsumeIntegralInRange<std::size_t>(1, 8);
      break;
    case 2:
      length = block - size % block - 1 + in.ConsumeIntegralInRange<std::size_t>(0, 2);
      break;
    default:
      length = in.ConsumeIntegralInRange<std::size_t>(1, left);
  }
  return std::min(length, left);
}

inline void appendRamp(FuzzedDataProvider& in, std::size_t length, Column& column) {
  float value = anyFloat(in);
  const float step = anyFloat(in);
  for (std::size_t k = 0; k < length; ++k) {
    column.push_back(value);
    value += step;
  }
}

/// Random bit patterns, or random numbers of one size.
inline void appendNoise(FuzzedDataProvider& in, std::size_t length, Column& column) {
  std::mt19937 random(in.ConsumeIntegral<std::uint16_t>());
  const bool everyPattern = in.ConsumeBool();
  std::generate_n(std::back_inserter(column), length, [&] {
    const auto bits = static_cast<std::uint32_t>(random());
    return everyPattern ? std::bit_cast<float>(bits) : static_cast<float>(bits) / 4294967296.0F;
  });
}

/// A few values in random order: ties everywhere.
inline void appendShuffled(FuzzedDataProvider& in, std::size_t length, Column& column) {
  Column alphabet(in.ConsumeIntegralInRange<std::size_t>(1, 6));
  std::ranges::generate(alphabet, [&] { return anyFloat(in); });
  std::mt19937 random(in.ConsumeIntegral<std::uint16_t>());
  std::generate_n(std::back_inserter(column), length,
                  [&] { return alphabet[random() % alphabet.size()]; });
}

/// Once more what the column began with, if it has begun.
inline void appendEcho(std::size_t length, Column& column) {
  if (column.empty()) {
    return;
  }
  for (std::size_t k = 0; k < length; ++k) {
    const float value = column[k];
    column.push_back(value);
  }
}

inline void appendStretch(FuzzedDataProvider& in, std::size_t length, Column& column) {
  switch (in.ConsumeIntegralInRange(0, 5)) {
    case 0:
      column.resize(column.size() + length, anyFloat(in));
      break;
    case 1:
      std::generate_n(std::back_inserter(column), std::min<std::size_t>(length, 8),
                      [&] { return anyFloat(in); });
      break;
    case 2:
      appendRamp(in, length, column);
      break;
    case 3:
      appendNoise(in, length, column);
      break;
    case 4:
      appendShuffled(in, length, column);
      break;
    default:
      appendEcho(length, column);
  }
}

/// 0 to `longest` values in stretches that like to end at multiples of `block`.
inline Column anyColumn(FuzzedDataProvider& in, std::size_t longest, std::size_t block) {
  Column column;
  while (in.remaining_bytes() > 0 && column.size() < longest && in.ConsumeBool()) {
    const std::size_t left = longest - column.size();
    appendStretch(in, stretchLength(in, column.size(), block, left), column);
  }
  return column;
}

}  // namespace fuzz
