#include "flightpath/ranging/detail/calibration_file.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <istream>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "flightpath/runtime/detail/float_environment.h"

namespace flightpath {
namespace {

constexpr std::string_view firstLine = "flightpath calibration 1";
constexpr std::string_view lastLine = "end";
constexpr std::size_t longestLine = 200;
constexpr std::uint32_t mostSubcarriers = 65535;

/// Corrections and weights beyond this, to either side of 1, are none that could be measured; products
/// with samples and with a user's weights then stay within the range of a double.
constexpr double largestFactor = 1e30;

/// In as few digits as bring back its bits, whatever the locale.
template <class Number>
void append(std::string& text, Number value) {
  std::array<char, 32> digits{};
  const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), value);
  text.append(digits.data(), end);
}

template <class Number>
void appendField(std::string& text, std::string_view name, Number value) {
  text.append(name).append(" ");
  append(text, value);
  text += '\n';
}

void appendTone(std::string& text, const CalibrationRecord& record, std::size_t i) {
  text += "tone ";
  append(text, record.tones[i]);
  for (const double value :
       {record.corrections[i].real(), record.corrections[i].imag(), record.weights[i]}) {
    text += ' ';
    append(text, value);
  }
  text += '\n';
}

/// In the order of their indices, those that are kept and those that are missing.
void appendTones(std::string& text, const CalibrationRecord& record) {
  std::size_t kept = 0;
  for (const int missing : record.missingTones) {
    for (; kept < record.tones.size() && record.tones[kept] < missing; ++kept) {
      appendTone(text, record, kept);
    }
    text += "tone ";
    append(text, missing);
    text += " missing\n";
  }
  for (; kept < record.tones.size(); ++kept) {
    appendTone(text, record, kept);
  }
}

/// The whole of `text` as a number, or nothing.
template <class Number>
std::optional<Number> parse(std::string_view text) {
  Number value{};
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || stop != end) {
    return {};
  }
  return value;
}

/// Takes the words of a line one after the other.
class Words {
 public:
  explicit Words(std::string_view line) : rest_(line) {}

  bool atEnd() const { return atEnd_; }

  /// Empty where there is none.
  std::string_view next() {
    const std::size_t end = std::min(rest_.find(' '), rest_.size());
    const std::string_view word = rest_.substr(0, end);
    atEnd_ = end == rest_.size();
    rest_.remove_prefix(atEnd_ ? end : end + 1);
    return word;
  }

 private:
  std::string_view rest_;
  bool atEnd_ = false;
};

class Reader {
 public:
  explicit Reader(std::istream& in) : in_(in) {}

  CalibrationRecord read() {
    expect(firstLine);
    CalibrationRecord record;
    readHeader(record);
    for (std::size_t position = 0; position < record.numSubcarriers; ++position) {
      readTone(record, position);
    }
    expect(lastLine);
    check(record.numSubcarriers == 0 || record.tones.size() >= 2,
          "fewer than two of the tones are not missing");
    return record;
  }

 private:
  [[noreturn]] void fail(const std::string& what) const {
    throw std::runtime_error("Calibration::load: line " + std::to_string(numLines_) + ": " + what);
  }

  /// The next line, without what ends it.
  std::string_view nextLine() {
    ++numLines_;
    line_.clear();
    using Traits = std::istream::traits_type;
    for (auto c = in_.get(); !Traits::eq_int_type(c, Traits::to_int_type('\n')); c = in_.get()) {
      if (!in_) {
        fail("the file ends early");
      }
      if (line_.size() == longestLine) {
        fail("is longer than " + std::to_string(longestLine) + " characters");
      }
      line_ += Traits::to_char_type(c);
    }
    if (line_.ends_with('\r')) {
      line_.pop_back();
    }
    return line_;
  }

  void expect(std::string_view wanted) {
    if (nextLine() != wanted) {
      fail("is not \"" + std::string(wanted) + "\"");
    }
  }

  template <class Number>
  Number readField(const char* name) {
    Words words(nextLine());
    const bool isNamed = words.next() == name;
    const std::optional<Number> value = parse<Number>(words.next());
    if (!isNamed || !value || !words.atEnd()) {
      fail("is not \"" + std::string(name) + "\" and a number");
    }
    return *value;
  }

  void check(bool isGood, const char* otherwise) const {
    if (!isGood) {
      fail(otherwise);
    }
  }

  void readHeader(CalibrationRecord& record) {
    record.numSubcarriers = readField<std::uint32_t>("samples");
    const bool isNone = record.numSubcarriers == 0;
    check(record.numSubcarriers <= mostSubcarriers && record.numSubcarriers != 1,
          "samples are not within 2 ... 65535, and not 0");
    record.subcarrierSpacing = readField<double>("spacing_hz");
    check(std::isfinite(record.subcarrierSpacing) && (record.subcarrierSpacing > 0.0 || isNone),
          "the spacing is not a finite number above 0");
    record.delay_s = readField<double>("delay_s");
    check(std::isfinite(record.delay_s), "the delay is not finite");
    record.numReferences = readField<std::uint64_t>("references");
    record.numOutliers = readField<std::uint64_t>("outliers");
    check(record.numOutliers < record.numReferences || isNone,
          "there are not fewer outliers than references");
  }

  void readTone(CalibrationRecord& record, std::size_t position) {
    Words words(nextLine());
    const bool isTone = words.next() == "tone";
    const std::optional<int> index = parse<int>(words.next());
    check(isTone && index && (position == 0 || *index > lastTone_),
          "is not \"tone\" and an index above that of the line before");
    lastTone_ = *index;
    if (line_.ends_with(" missing")) {
      words.next();
      record.missingTones.push_back(*index);
    } else {
      readKept(words, record);
      record.tones.push_back(*index);
      record.positions.push_back(position);
    }
    check(words.atEnd(), "goes on behind what a tone has");
  }

  void readKept(Words& words, CalibrationRecord& record) const {
    const std::optional<double> re = parse<double>(words.next());
    const std::optional<double> im = parse<double>(words.next());
    const std::optional<double> weight = parse<double>(words.next());
    if (!re || !im || !weight) {
      fail("has neither a correction of two numbers and a weight, nor \"missing\"");
    }
    checkFactor("correction", std::hypot(*re, *im));
    checkFactor("weight", *weight);
    record.corrections.emplace_back(*re, *im);
    record.weights.push_back(*weight);
  }

  void checkFactor(const char* what, double value) const {
    if (!(value >= 1.0 / largestFactor) || !(value <= largestFactor)) {
      fail(std::string("the ") + what + " is not within 1e-30 ... 1e30");
    }
  }

  std::istream& in_;
  std::string line_;
  std::size_t numLines_ = 0;
  int lastTone_ = 0;
};

}  // namespace

void writeCalibration(const CalibrationRecord& record, std::ostream& out) {
  std::string text(firstLine);
  text += '\n';
  appendField(text, "samples", record.numSubcarriers);
  appendField(text, "spacing_hz", record.subcarrierSpacing);
  appendField(text, "delay_s", record.delay_s);
  appendField(text, "references", record.numReferences);
  appendField(text, "outliers", record.numOutliers);
  appendTones(text, record);
  text.append(lastLine).append("\n");
  out.write(text.data(), static_cast<std::streamsize>(text.size()));
  if (!out) {
    throw std::runtime_error("Calibration::save: the stream does not take it");
  }
}

CalibrationRecord readCalibration(std::istream& in) {
  const DefaultFloatEnvironment environment;  // digits are rounded to nearest
  return Reader(in).read();
}

}  // namespace flightpath
