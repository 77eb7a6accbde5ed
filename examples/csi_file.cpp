#include "csi_file.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <fstream>
#include <limits>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string_view>

namespace {

constexpr std::size_t mostSubcarriers = std::numeric_limits<std::uint16_t>::max();

/// Where in the file the reader stands, for messages.
struct Place {
  const std::string& name;
  std::size_t line = 0;

  [[noreturn]] void fail(const std::string& what) const {
    std::ostringstream text;
    text << name;
    if (line > 0) {
      text << ", line " << line;
    }
    text << ": " << what;
    throw std::runtime_error(text.str());
  }
};

struct Header {
  std::optional<std::uint32_t> spacing_Hz;
  std::optional<std::uint32_t> measurements;
  std::optional<std::uint32_t> subcarriers;
};

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\r";
  const std::size_t first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// The whole of `text` as a number, or nothing. A plus sign in front is fine.
template <class Number>
std::optional<Number> parse(std::string_view text) {
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') {
    text.remove_prefix(1);
  }
  Number value{};
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || stop != end || text.empty()) {
    return {};
  }
  return value;
}

/// The beginning of a text from the file, fit for a terminal.
std::string quoted(std::string_view text) {
  std::string shown(text.substr(0, 40));
  std::replace_if(
      shown.begin(), shown.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  return '"' + shown + '"';
}

void readHeaderField(std::string_view field, Header& header, const Place& place) {
  const std::size_t equals = field.find('=');
  const std::string_view key = field.substr(0, equals);
  std::optional<std::uint32_t>* const target = key == "spacing_hz"     ? &header.spacing_Hz
                                               : key == "measurements" ? &header.measurements
                                               : key == "subcarriers"  ? &header.subcarriers
                                                                       : nullptr;
  if (target == nullptr || equals == std::string_view::npos) {
    return;  // a word of a comment
  }
  if (target->has_value()) {
    place.fail(std::string(key) + " is given twice");
  }
  *target = parse<std::uint32_t>(field.substr(equals + 1));
  if (!target->has_value() || **target == 0) {
    place.fail(quoted(field) + " is not a whole number from 1 to 4294967295");
  }
}

void readHeader(std::string_view comment, Header& header, const Place& place) {
  std::istringstream words{std::string(comment)};
  for (std::string word; words >> word;) {
    readHeaderField(word, header, place);
  }
}

std::vector<float> readValues(std::string_view line, const Place& place) {
  std::vector<float> values;
  for (std::size_t start = 0; start <= line.size();) {
    const std::size_t end = std::min(line.find(',', start), line.size());
    const std::string_view text = trimmed(line.substr(start, end - start));
    const std::optional<float> value = parse<float>(text);
    if (text.empty()) {
      place.fail("an empty value (a comma too many?); expected re,im,re,im,...");
    }
    if (!value || !std::isfinite(*value)) {
      place.fail(quoted(text) + " is not a number that a float can hold; expected re,im,re,im,...");
    }
    values.push_back(*value);
    start = end + 1;
  }
  return values;
}

/// The header may stand behind measurements; whichever comes second is the line at fault.
void requireSubcarriers(std::size_t numSubcarriers, const Header& header, const Place& place) {
  if (header.subcarriers && *header.subcarriers != numSubcarriers) {
    place.fail("subcarriers: " + std::to_string(numSubcarriers) + ", the header says " +
               std::to_string(*header.subcarriers));
  }
}

std::vector<creal32_T> readMeasurement(std::string_view line, const Header& header,
                                       const Place& place) {
  const std::vector<float> values = readValues(line, place);
  if (values.size() % 2 != 0) {
    place.fail(std::to_string(values.size()) +
               " values, an odd number: every subcarrier has a real and an imaginary part");
  }
  const std::size_t numSubcarriers = values.size() / 2;
  if (numSubcarriers > mostSubcarriers) {
    place.fail(std::to_string(numSubcarriers) + " subcarriers, the most is 65535");
  }
  requireSubcarriers(numSubcarriers, header, place);
  std::vector<creal32_T> samples;
  for (std::size_t k = 0; k < values.size(); k += 2) {
    samples.push_back({values[k], values[k + 1]});
  }
  return samples;
}

}  // namespace

CsiFile readCsi(std::istream& in, const std::string& name) {
  Place place{name};
  Header header;
  CsiFile file;
  for (std::string text; std::getline(in, text);) {
    ++place.line;
    const std::string_view line = trimmed(text);
    if (line.empty()) {
      continue;
    }
    if (line.front() == '#') {
      const bool alreadyChecked = header.subcarriers.has_value();
      readHeader(line.substr(1), header, place);
      if (!alreadyChecked && header.subcarriers) {
        for (const std::vector<creal32_T>& measurement : file.measurements) {
          requireSubcarriers(measurement.size(), header, place);
        }
      }
      continue;
    }
    file.measurements.push_back(readMeasurement(line, header, place));
  }
  place.line = 0;
  if (in.bad()) {
    place.fail("cannot be read");
  }
  if (!header.spacing_Hz) {
    place.fail(
        "no subcarrier spacing: a line \"# spacing_hz=...\" must give it in hertz (lower case, no "
        "blanks around =)");
  }
  if (file.measurements.empty()) {
    place.fail("no measurement");
  }
  if (header.measurements && *header.measurements != file.measurements.size()) {
    place.fail("measurements: " + std::to_string(file.measurements.size()) + ", the header says " +
               std::to_string(*header.measurements));
  }
  file.spacing_Hz = *header.spacing_Hz;
  return file;
}

CsiFile readCsiFile(const std::string& path) {
  std::ifstream in(path);
  if (!in) {
    Place{path}.fail("cannot be opened");
  }
  return readCsi(in, path);
}
