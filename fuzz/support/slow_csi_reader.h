#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "flightpath/runtime/complex.h"

/// The examples' measurement files by the description of their format: character by character, with
/// the C library's conversions.
namespace fuzz {

/// What a file holds; or, where it cannot be used, the line at fault, 0 for the file as a whole.
struct SlowCsi {
  bool usable = true;
  std::size_t line = 0;
  std::uint64_t spacing_Hz = 0;
  std::vector<std::vector<creal32_T>> measurements;
};

class SlowCsiReader {
 public:
  /// `complete` says whether `text` is all of the file.
  static SlowCsi read(const std::string& text, bool complete) {
    SlowCsiReader reader;
    for (const std::string& line : split(text, "\n")) {
      ++reader.csi_.line;
      reader.takeLine(trimmed(line));
      if (!reader.csi_.usable) {
        return reader.csi_;
      }
    }
    reader.csi_.line = 0;
    reader.finish(complete);
    return reader.csi_;
  }

 private:
  void demand(bool holds) { csi_.usable = csi_.usable && holds; }

  /// The pieces that end at one of the separators or at the end; behind the last separator there is
  /// a piece only if it is not empty.
  static std::vector<std::string> split(const std::string& text, const std::string& separators) {
    std::vector<std::string> pieces;
    std::string piece;
    for (const char c : text) {
      if (separators.find(c) == std::string::npos) {
        piece += c;
      } else {
        pieces.push_back(piece);
        piece.clear();
      }
    }
    if (!piece.empty()) {
      pieces.push_back(piece);
    }
    return pieces;
  }

  static std::string trimmed(std::string text) {
    const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
    text.erase(text.begin(), std::ranges::find_if_not(text, blank));
    while (!text.empty() && blank(text.back())) {
      text.pop_back();
    }
    return text;
  }

  void takeLine(const std::string& line) {
    if (line.empty()) {
      return;
    }
    if (line[0] != '#') {
      takeMeasurement(line);
      return;
    }
    for (const std::string& word : split(line.substr(1), " \t\n\v\f\r")) {
      for (const char* const key : {"spacing_hz", "measurements", "subcarriers"}) {
        takeCount(key, word);
      }
    }
    demandSubcarriers();
  }

  /// A word that begins otherwise is a comment.
  void takeCount(const std::string& key, const std::string& word) {
    if (word.rfind(key + '=', 0) != 0) {
      return;
    }
    std::string digits = word.substr(key.size() + 1);
    if (!digits.empty() && digits[0] == '+') {
      digits.erase(0, 1);
    }
    demand(counts_.count(key) == 0);
    demand(!digits.empty() && skipDigits(digits, 0) == digits.size());
    counts_[key] = std::strtoull(digits.c_str(), nullptr, 10);
    demand(counts_[key] >= 1 && counts_[key] <= 4294967295U);
  }

  void takeMeasurement(const std::string& line) {
    std::vector<float> values;
    // Something stands behind the last comma, if only nothing.
    for (const std::string& text : split(line + ',', ",")) {
      values.push_back(number(trimmed(text)));
    }
    demand(values.size() % 2 == 0 && values.size() / 2 <= 65535);
    csi_.measurements.emplace_back();
    for (std::size_t k = 0; k + 1 < values.size(); k += 2) {
      csi_.measurements.back().push_back({values[k], values[k + 1]});
    }
    demandSubcarriers();
  }

  void demandSubcarriers() {
    for (const std::vector<creal32_T>& measurement : csi_.measurements) {
      demand(counts_.count("subcarriers") == 0 || counts_["subcarriers"] == measurement.size());
    }
  }

  static std::size_t skipDigits(const std::string& text, std::size_t at) {
    while (at < text.size() && text[at] >= '0' && text[at] <= '9') {
      ++at;
    }
    return at;
  }

  static std::size_t skipOneOf(const std::string& characters, const std::string& text,
                               std::size_t at) {
    return at < text.size() && characters.find(text[at]) != std::string::npos ? at + 1 : at;
  }

  /// A decimal number. One that leaves the range of float at either end is none.
  float number(const std::string& text) {
    const std::size_t start = skipOneOf("+-", text, 0);
    const std::size_t point = skipDigits(text, start);
    const std::size_t fraction = skipOneOf(".", text, point);
    const std::size_t stop = skipDigits(text, fraction);
    std::size_t end = stop;
    demand(point - start + stop - fraction > 0);
    if (const std::size_t letter = skipOneOf("eE", text, stop); letter > stop) {
      const std::size_t exponent = skipOneOf("+-", text, letter);
      end = skipDigits(text, exponent);
      demand(end > exponent);
    }
    demand(end == text.size());
    const float value = std::strtof(text.c_str(), nullptr);
    const bool isZero = text.substr(0, stop).find_first_of("123456789") == std::string::npos;
    demand(std::isfinite(value) && (value != 0.0F) == !isZero);
    return value;
  }

  void finish(bool complete) {
    demand(complete && counts_.count("spacing_hz") > 0 && !csi_.measurements.empty());
    demand(counts_.count("measurements") == 0 ||
           counts_["measurements"] == csi_.measurements.size());
    csi_.spacing_Hz = counts_["spacing_hz"];
  }

  SlowCsi csi_;
  std::map<std::string, std::uint64_t> counts_;
};

}  // namespace fuzz
