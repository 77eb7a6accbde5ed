#include <gtest/gtest.h>

#include <cstddef>
#include <limits>
#include <locale>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "flightpath/ranging/calibration.h"
#include "tests/support/receiver.h"
#include "tests/support/tones.h"

using flightpath::Calibration;

namespace {

const char* const smallFile =
    "flightpath calibration 1\n"
    "samples 4\n"
    "spacing_hz 312500\n"
    "delay_s -3.2e-08\n"
    "references 16\n"
    "outliers 2\n"
    "tone -3 missing\n"
    "tone -1 0.5 -0.25 1.5\n"
    "tone 2 1e-05 1 0.1\n"
    "tone 5 missing\n"
    "end\n";

Calibration load(const std::string& text) {
  std::istringstream in(text);
  return Calibration::load(in);
}

std::string save(const Calibration& calibration) {
  std::ostringstream out;
  calibration.save(out);
  return out.str();
}

/// Why it is refused, without what all messages begin with; empty where it is not.
std::string refusal(const std::string& text) {
  try {
    load(text);
  } catch (const std::runtime_error& error) {
    const std::string message = error.what();
    EXPECT_EQ(message.find("Calibration::load: line "), 0U) << message;
    return message.substr(19);
  }
  return "";
}

std::string withLine(std::size_t number, const std::string& line) {
  std::istringstream in(smallFile);
  std::string all;
  std::string old;
  for (std::size_t n = 1; std::getline(in, old); ++n) {
    all += (n == number ? line : old) + '\n';
  }
  return all;
}

/// Groups digits by one, and has a comma for a point.
struct OddNumbers : std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\1"; }
};

struct GlobalLocale {
  explicit GlobalLocale(const std::locale& now) : before(std::locale::global(now)) {}
  ~GlobalLocale() { std::locale::global(before); }
  GlobalLocale(const GlobalLocale&) = delete;
  GlobalLocale& operator=(const GlobalLocale&) = delete;
  std::locale before;
};

void expectSame(const Calibration& a, const Calibration& b) {
  EXPECT_EQ(a.subcarrierSpacing(), b.subcarrierSpacing());
  EXPECT_EQ(a.numSubcarriers(), b.numSubcarriers());
  EXPECT_EQ(a.tones(), b.tones());
  EXPECT_EQ(a.positions(), b.positions());
  EXPECT_EQ(a.corrections(), b.corrections());
  EXPECT_EQ(a.weights(), b.weights());
  EXPECT_EQ(a.missingTones(), b.missingTones());
  EXPECT_EQ(a.delay_s(), b.delay_s());
  EXPECT_EQ(a.numReferences(), b.numReferences());
  EXPECT_EQ(a.numOutliers(), b.numOutliers());
}

}  // namespace

// EXACT
TEST(CalibrationFile, SaysWhatItSays) {
  const Calibration calibration = load(smallFile);
  EXPECT_EQ(calibration.numSubcarriers(), 4U);
  EXPECT_EQ(calibration.subcarrierSpacing(), 312500.0);
  EXPECT_EQ(calibration.delay_s(), -3.2e-8);
  EXPECT_EQ(calibration.numReferences(), 16U);
  EXPECT_EQ(calibration.numOutliers(), 2U);
  EXPECT_EQ(calibration.tones(), (std::vector<int>{-1, 2}));
  EXPECT_EQ(calibration.missingTones(), (std::vector<int>{-3, 5}));
  EXPECT_EQ(calibration.positions(), (std::vector<std::size_t>{1, 2}));
  EXPECT_EQ(calibration.corrections()[0], std::complex<double>(0.5, -0.25));
  EXPECT_EQ(calibration.corrections()[1], std::complex<double>(1e-5, 1.0));
  EXPECT_EQ(calibration.weights(), (std::vector<double>{1.5, 0.1}));
  EXPECT_EQ(save(calibration), smallFile);
}

// EXACT: every bit, missing tones at both ends and in between, indices of both signs.
TEST(CalibrationFile, BringsBackEveryBit) {
  const std::vector<int> tones = support::range(-28, 28);
  support::ComplexRows rows =
      support::measureThrough(support::ripplingResponse(tones), tones, 1.0 / 3.0, 0.01, 1, 5);
  for (std::size_t row = 0; row < 5; ++row) {
    for (const std::size_t k : {0U, 28U, 29U, 56U}) {
      rows[row * 57 + k] = 0.0;
    }
  }
  const auto calibration = Calibration::measure({rows, 57}, 1e6 / 3.0, 1.0 / 3.0, tones);
  EXPECT_EQ(calibration.missingTones().size(), 4U);
  const Calibration loaded = load(save(calibration));
  expectSame(loaded, calibration);
  EXPECT_EQ(save(loaded), save(calibration));
}

// EXACT
TEST(CalibrationFile, NoneIsATextToo) {
  const std::string text = save(Calibration());
  EXPECT_TRUE(load(text).empty());
  EXPECT_EQ(save(load(text)), text);
}

// EXACT
TEST(CalibrationFile, NeitherLocalesNorTheStateOfAStreamMatter) {
  const std::locale odd(std::locale::classic(), new OddNumbers);
  const GlobalLocale global(odd);
  const Calibration calibration = load(smallFile);
  std::ostringstream out;
  out.imbue(odd);
  out << std::hex << std::showpos << std::showbase << std::uppercase << std::scientific;
  out.precision(2);
  out.width(400);
  out.fill('#');
  calibration.save(out);
  EXPECT_EQ(out.str(), smallFile);
  std::istringstream in(smallFile);
  in.imbue(odd);
  in >> std::hex >> std::noskipws;
  in.width(3);
  expectSame(Calibration::load(in), calibration);
}

// EXACT: what follows stays in the stream.
TEST(CalibrationFile, SeveralMayStandInOneStream) {
  std::istringstream in(std::string(smallFile) + save(Calibration()) + "something else");
  EXPECT_EQ(Calibration::load(in).numSubcarriers(), 4U);
  EXPECT_TRUE(Calibration::load(in).empty());
  std::string rest;
  std::getline(in, rest);
  EXPECT_EQ(rest, "something else");
}

// EXACT
TEST(CalibrationFile, LinesMayEndAsInOtherSystems) {
  std::string text = smallFile;
  for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 2)) {
    text.insert(at, "\r");
  }
  expectSame(load(text), load(smallFile));
}

// EXACT: wherever it is cut off, it says so, in its last line.
TEST(CalibrationFile, NoPartOfItIsTakenForTheWhole) {
  const std::string text = smallFile;
  std::size_t line = 1;
  for (std::size_t length = 0; length < text.size(); ++length) {
    EXPECT_EQ(refusal(text.substr(0, length)),
              "line " + std::to_string(line) + ": the file ends early");
    line += text[length] == '\n' ? 1 : 0;
  }
}

// EXACT
TEST(CalibrationFile, WhatIsWrongIsSaidWithItsLine) {
  const std::string notATone = "is not \"tone\" and an index above that of the line before";
  const std::string noNumbers =
      "has neither a correction of two numbers and a weight, nor \"missing\"";
  struct Row {
    std::size_t line;
    std::string text;
    std::string expected;
  };
  const Row table[] = {
      {1, "flightpath calibration 2", "is not \"flightpath calibration 1\""},
      {1, "flightpath calibration 1 ", "is not \"flightpath calibration 1\""},
      {1, "", "is not \"flightpath calibration 1\""},
      {1, std::string(201, 'x'), "is longer than 200 characters"},
      {1, std::string(200, 'x'), "is not \"flightpath calibration 1\""},
      {2, "samples", "is not \"samples\" and a number"},
      {2, "samples ", "is not \"samples\" and a number"},
      {2, "samples 4 4", "is not \"samples\" and a number"},
      {2, "samples  4", "is not \"samples\" and a number"},
      {2, "samples -4", "is not \"samples\" and a number"},
      {2, "samples 4.0", "is not \"samples\" and a number"},
      {2, "samples 4294967300", "is not \"samples\" and a number"},
      {2, "sample 4", "is not \"samples\" and a number"},
      {2, "samples 1", "samples are not within 2 ... 65535, and not 0"},
      {2, "samples 65536", "samples are not within 2 ... 65535, and not 0"},
      {3, "spacing_hz 0", "the spacing is not a finite number above 0"},
      {3, "spacing_hz -1", "the spacing is not a finite number above 0"},
      {3, "spacing_hz inf", "the spacing is not a finite number above 0"},
      {3, "spacing_hz nan", "the spacing is not a finite number above 0"},
      {3, "spacing_hz 1e999", "is not \"spacing_hz\" and a number"},
      {3, "spacing_hz 312,5", "is not \"spacing_hz\" and a number"},
      {4, "delay_s nan", "the delay is not finite"},
      {4, "delay_s 0x1p-3", "is not \"delay_s\" and a number"},
      {5, "references -1", "is not \"references\" and a number"},
      {6, "outliers 16", "there are not fewer outliers than references"},
      {7, "tone -3", noNumbers},
      {7, "tone -3 missing ", noNumbers},
      {7, "tone -3  missing", "goes on behind what a tone has"},
      {7, "tone -3 0 missing", "goes on behind what a tone has"},
      {7, "tone missing", notATone},
      {7, "tone 99999999999 missing", notATone},
      {7, "tune -3 missing", notATone},
      {8, "tone -3 1 1 1", notATone},
      {8, "tone -4 1 1 1", notATone},
      {8, "tone -1 1 1", noNumbers},
      {8, "tone -1 1 1 1 1", "goes on behind what a tone has"},
      {8, "tone -1 1 1 1 ", "goes on behind what a tone has"},
      {8, "tone -1 1 x 1", noNumbers},
      {8, "tone -1 nan 1 1", "the correction is not within 1e-30 ... 1e30"},
      {8, "tone -1 1 -inf 1", "the correction is not within 1e-30 ... 1e30"},
      {8, "tone -1 0 0 1", "the correction is not within 1e-30 ... 1e30"},
      {8, "tone -1 1e31 0 1", "the correction is not within 1e-30 ... 1e30"},
      {8, "tone -1 1 1 0", "the weight is not within 1e-30 ... 1e30"},
      {8, "tone -1 1 1 -1", "the weight is not within 1e-30 ... 1e30"},
      {8, "tone -1 1 1 nan", "the weight is not within 1e-30 ... 1e30"},
      {8, "tone -1 1 1 1e31", "the weight is not within 1e-30 ... 1e30"},
      {10, "end", notATone},
      {11, "tone 6 missing", "is not \"end\""},
      {11, "", "is not \"end\""},
  };
  for (const Row& row : table) {
    EXPECT_EQ(refusal(withLine(row.line, row.text)),
              "line " + std::to_string(row.line) + ": " + row.expected)
        << row.text;
  }
  std::string oneKept = withLine(8, "tone -1 missing");
  EXPECT_EQ(refusal(oneKept), "line 11: fewer than two of the tones are not missing");
}

// EXACT: a promise of many tones takes no memory; the file is at its end where it ends.
TEST(CalibrationFile, PromisedTonesHaveToCome) {
  EXPECT_EQ(refusal(withLine(2, "samples 65535")),
            "line 11: " + std::string("is not \"tone\" and an index "
                                      "above that of the line "
                                      "before"));
}

// EXACT: any text either is refused, or is a calibration that can be written and read again.
TEST(CalibrationFile, GarbledTextsAreRefusedOrHarmless) {
  std::mt19937_64 random(1989);
  const std::string letters = " -.019einfat\n\r\0\xff";
  int numRefused = 0;
  for (int trial = 0; trial < 20000; ++trial) {
    std::string text = smallFile;
    for (int change = 0; change <= trial % 3; ++change) {
      const std::size_t at = random() % text.size();
      const char letter = letters[random() % letters.size()];
      switch (random() % 3) {
        case 0:
          text[at] = letter;
          break;
        case 1:
          text.insert(at, 1, letter);
          break;
        default:
          text.erase(at, 1 + random() % 9);
      }
    }
    if (!refusal(text).empty()) {
      ++numRefused;
      continue;
    }
    const Calibration loaded = load(text);
    expectSame(load(save(loaded)), loaded);
  }
  EXPECT_GT(numRefused, 10000);
  EXPECT_LT(numRefused, 20000) << "digits may change";
}

// EXACT: also where the stream has been told to throw by itself.
TEST(CalibrationFile, StreamsThatFailAreAnError) {
  std::ostringstream out;
  out.setstate(std::ios::badbit);
  EXPECT_THROW(load(smallFile).save(out), std::runtime_error);
  std::istringstream in("flightpath");
  in.exceptions(std::ios::failbit | std::ios::badbit | std::ios::eofbit);
  EXPECT_THROW(Calibration::load(in), std::runtime_error);
}
