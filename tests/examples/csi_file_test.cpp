#include "csi_file.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>

namespace {

CsiFile parse(const std::string& text) {
  std::istringstream in(text);
  return readCsi(in, "name.csv");
}

std::string complaint(const std::string& text) {
  try {
    parse(text);
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "no complaint";
}

}  // namespace

TEST(CsiFile, ReadsSpacingAndEveryMeasurement) {
  const CsiFile file = parse(
      "# spacing_hz=312500 measurements=2 subcarriers=2\n# a comment, with = in it\n"
      "1,2,3,4\n\n -1e3 , 0.5,-0,+1e-3\r\n");
  EXPECT_EQ(file.spacing_Hz, 312500U);
  ASSERT_EQ(file.measurements.size(), 2U);
  ASSERT_EQ(file.measurements[1].size(), 2U);
  EXPECT_EQ(file.measurements[0][1].re, 3.0F);
  EXPECT_EQ(file.measurements[0][1].im, 4.0F);
  EXPECT_EQ(file.measurements[1][0].re, -1000.0F);
  EXPECT_EQ(file.measurements[1][1].im, 1e-3F);
}

TEST(CsiFile, RowsMayDifferInLengthWhereTheHeaderDoesNotSay) {
  const CsiFile file = parse("# spacing_hz=1\n1,2\n1,2,3,4\n");
  ASSERT_EQ(file.measurements.size(), 2U);
  EXPECT_EQ(file.measurements[0].size(), 1U);
  EXPECT_EQ(file.measurements[1].size(), 2U);
}

TEST(CsiFile, SaysWhatIsWrongAndWhere) {
  struct Row {
    const char* text;
    const char* expected;
  };
  const Row rows[] = {
      {"1,2\n", "name.csv: no subcarrier spacing"},
      {"", "name.csv: no subcarrier spacing"},
      {"# spacing_hz=5\n", "name.csv: no measurement"},
      {"# spacing_hz=5\n1,2\n1,2,3\n", "name.csv, line 3: 3 values, an odd number"},
      {"# spacing_hz=5\n1,2\n1,x\n", "name.csv, line 3: \"x\" is not a number"},
      {"# spacing_hz=5\n1,2,\n", "name.csv, line 2: an empty value"},
      {"# spacing_hz=5\n1,nan\n", "name.csv, line 2: \"nan\" is not a number"},
      {"# spacing_hz=5\n1,1e99\n", "name.csv, line 2: \"1e99\" is not a number"},
      {"# spacing_hz=5\n1,+-2\n", "name.csv, line 2: \"+-2\" is not a number"},
      {"# spacing_hz=5\n1,2 3\n", "name.csv, line 2: \"2 3\" is not a number"},
      {"# spacing_hz=0\n1,2\n", "name.csv, line 1: \"spacing_hz=0\" is not a whole number"},
      {"# spacing_hz=-5\n1,2\n", "name.csv, line 1: \"spacing_hz=-5\" is not a whole number"},
      {"# spacing_hz=5e9\n1,2\n", "name.csv, line 1: \"spacing_hz=5e9\" is not a whole number"},
      {"# spacing_hz=4294967296\n1,2\n", "name.csv, line 1: \"spacing_hz=4294967296\" is not"},
      {"# spacing_hz=5 subcarriers=2\n1,2\n",
       "name.csv, line 2: subcarriers: 1, the header says 2"},
      {"# spacing_hz=5\n1,2\n# subcarriers=2\n",
       "name.csv, line 3: subcarriers: 1, the header says 2"},
      {"# spacing_hz=5\n# spacing_hz=6\n1,2\n", "name.csv, line 2: spacing_hz is given twice"},
      {"# spacing_hz=5\n1,\x01\xff\n", "name.csv, line 2: \"??\" is not a number"},
      {"# spacing_hz=5 measurements=2\n1,2\n", "name.csv: measurements: 1, the header says 2"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(complaint(row.text).substr(0, std::string(row.expected).size()), row.expected)
        << row.text;
  }
}

TEST(CsiFile, MoreSubcarriersThanARecordHoldsAreRefused) {
  std::string line = "0,0";
  for (int k = 1; k < 65535; ++k) {
    line += ",0,0";
  }
  EXPECT_EQ(parse("# spacing_hz=1\n" + line + "\n").measurements[0].size(), 65535U);
  EXPECT_EQ(complaint("# spacing_hz=1\n" + line + ",0,0\n"),
            "name.csv, line 2: 65536 subcarriers, the most is 65535");
}

TEST(CsiFile, AFileThatIsNotThereIsNamed) {
  try {
    readCsiFile("/nowhere/at/all.csv");
    FAIL();
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "/nowhere/at/all.csv: cannot be opened");
  }
}

TEST(CsiFile, ADirectoryIsNotAFile) { EXPECT_THROW(readCsiFile("/"), std::runtime_error); }
