#pragma once

#include <charconv>
#include <cstring>
#include <optional>

/// The whole of `text` as a number, or nothing where it is none or leaves the type's range.
template <class Number>
std::optional<Number> numberIn(const char* text) {
  Number value = {};
  const char* const end = text + std::strlen(text);
  const auto [stop, error] = std::from_chars(text, end, value);
  if (error != std::errc() || stop != end) {
    return {};
  }
  return value;
}
