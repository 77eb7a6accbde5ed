#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "fuzz/support/any_float.h"

/// Texts that a reader of measurement files may meet.
namespace fuzz {

/// Digits that name the float alone.
inline std::string printed(float value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.9g", static_cast<double>(value));
  return text;
}

/// The words of the format, right and wrong, in any order.
inline std::string anyWords(FuzzedDataProvider& in) {
  static const char* const words[] = {"\n",
                                      "\n",
                                      "\r\n",
                                      ",",
                                      ",",
                                      " ",
                                      "\t",
                                      "#",
                                      "#",
                                      "spacing_hz=",
                                      "spacing_hz=",
                                      "measurements=",
                                      "=",
                                      "+",
                                      "subcarriers=",
                                      "-",
                                      ".",
                                      "e",
                                      "E",
                                      "0",
                                      "1",
                                      "2",
                                      "9",
                                      "312500",
                                      "1,2",
                                      "-0",
                                      "4294967295",
                                      "4294967296",
                                      "1e99",
                                      "1e-50",
                                      "1e-45",
                                      "nan",
                                      "inf",
                                      "0x1p3",
                                      "3.4028235e38",
                                      "3.4028236e38",
                                      "spacing_hz",
                                      "0.7e-45",
                                      "\v",
                                      "# spacing_hz=5\n",
                                      "1,2\n",
                                      "0,0,"};
  std::string text;
  while (in.remaining_bytes() > 0 && in.ConsumeIntegralInRange(0, 63) != 0) {
    switch (in.ConsumeIntegralInRange(0, 9)) {
      case 0:
        text += printed(anyFloat(in));
        break;
      case 1:
        text += in.ConsumeBytesAsString(in.ConsumeIntegralInRange<std::size_t>(1, 4));
        break;
      default:
        text += in.PickValueInArray(words);
    }
  }
  return text;
}

/// One more or one less now and then.
inline std::size_t nearly(FuzzedDataProvider& in, std::size_t count) {
  switch (in.ConsumeIntegralInRange(0, 15)) {
    case 0:
      return count + 1;
    case 1:
      return count - 1;
    default:
      return count;
  }
}

inline std::string anyRow(FuzzedDataProvider& in, std::size_t numValues) {
  static const char* const between[] = {",", ",", ",", " , ", ",\t", ",+", ",,", ";"};
  std::string row;
  for (std::size_t k = 0; k < numValues; ++k) {
    const float value = anyFloat(in);
    row += k == 0 ? "" : in.ConsumeBool() ? "," : in.PickValueInArray(between);
    row += in.ConsumeIntegralInRange(0, 31) != 0 && !std::isfinite(value) ? "1" : printed(value);
  }
  return row;
}

/// A file as it should be, but for a slip now and then. The line of counts may stand anywhere.
inline std::string anyFile(FuzzedDataProvider& in) {
  const auto numRows = in.ConsumeIntegralInRange<std::size_t>(1, 5);
  const auto subcarriers = in.ConsumeIntegralInRange<std::size_t>(1, 6);
  std::string header = "# spacing_hz=" + std::to_string(in.ConsumeIntegral<std::uint32_t>());
  if (in.ConsumeBool()) {
    header += " measurements=" + std::to_string(nearly(in, numRows));
  }
  if (in.ConsumeBool()) {
    header += " subcarriers=" + std::to_string(nearly(in, subcarriers));
  }
  const std::size_t headerRow = in.ConsumeBool() ? 0 : in.ConsumeIntegralInRange<std::size_t>(0, 5);
  std::string text;
  for (std::size_t k = 0; k < numRows; ++k) {
    text += k == headerRow ? header + '\n' : "";
    text += anyRow(in, nearly(in, 2 * subcarriers)) + (in.ConsumeBool() ? "\n" : " \r\n");
  }
  return headerRow < numRows ? text : text + header;
}

/// The most subcarriers of a row, 65535, are out of reach: such a text takes as long as hundreds of
/// others, and the fuzzer would try little else. A test of the reader has them.
inline std::string anyCsiText(FuzzedDataProvider& in) {
  switch (in.ConsumeIntegralInRange(0, 2)) {
    case 0:
      return anyWords(in);
    case 1:
      return anyFile(in);
    default:
      return in.ConsumeRemainingBytesAsString();
  }
}

}  // namespace fuzz
