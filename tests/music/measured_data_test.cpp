#include "tests/support/measured_data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

#include "csi_file.h"
#include "flightpath/api/entry/estimate_tof.h"
#include "flightpath/api/tof_parameters.h"
#include "flightpath/music/tof_result.h"
#include "flightpath/spectrum/estimator.h"
#include "tests/support/builders.h"
#include "tests/support/reference_estimator.h"

// Measured channels, with delays that other methods (phase slope, inverse FFT, matrix pencil, in
// double precision) found in them. MODEL: a named delay has to be among those found, within 1 % or
// 0.01 ns, whichever is larger. Lines disperse, so that more may be found.

namespace {

constexpr double nanoseconds = 1e9;
constexpr double speedOfLight_mps = 299792458.0;

/// A search instead of the defaults: no closed form, and a forced count.
struct Search {
  int numPaths;
  bool smooth;
};

class MeasuredData : public testing::Test {
 protected:
  void load(const std::string& name) { file_ = support::readMeasured(name + ".csv"); }

  std::size_t count() const { return file_.measurements.size(); }

  /// Rows count from 1, as in the description of the files.
  const std::vector<creal32_T>& samples(std::size_t row) const {
    return file_.measurements.at(row - 1);
  }

  std::vector<double> found_ns(std::size_t row) const {
    const std::vector<creal32_T>& x = samples(row);
    std::vector<double> delays =
        MUSIC::estimateToF({file_.spacing_Hz, static_cast<std::uint16_t>(x.size()), x.data()})
            .TimesOfFlight;
    for (double& delay : delays) {
      delay *= nanoseconds;
    }
    return delays;
  }

  std::vector<double> found_ns(std::size_t row, Search search) const {
    const std::vector<creal32_T>& x = samples(row);
    ToFEstimationParameters p;
    p.init(static_cast<float>(x.size()), static_cast<float>(file_.spacing_Hz), {},
           support::row({static_cast<float>(search.numPaths)}), 0, 0, search.smooth ? 1 : 0, {},
           {});
    MUSICLib obj;
    ToFResult r;
    obj.MUSICToF(support::column(x), &p, &r);
    std::vector<double> delays;
    for (const float d : r.Distances) {
      delays.push_back(static_cast<double>(d) / speedOfLight_mps * nanoseconds);
    }
    return delays;
  }

  std::vector<double> modelled_ns(std::size_t row, std::optional<Search> search = {}) const {
    support::ReferenceSettings settings =
        support::referenceDefaults(static_cast<int>(samples(row).size()));
    if (search) {
      settings.forcedCount = search->numPaths;
      settings.allowPhaseSlope = false;
      settings.smooth = search->smooth;
    }
    std::vector<double> delays =
        support::referenceEstimate(support::toDouble(samples(row)), settings).freqs;
    for (double& f : delays) {
      f *= nanoseconds / file_.spacing_Hz;
    }
    return delays;
  }

  /// One step of the fine search: two grids around one maximum differ by no more. A thousandth of
  /// it covers the float frequencies of the search; the closed form needs (N + 8) half units of a
  /// turn.
  double agreement_ns(std::size_t row) const {
    const auto N = static_cast<double>(samples(row).size());
    const double step = 1.001 / (1500.0 * N);
    const double turns = std::max(step, (N + 8.0) * 0x1p-24);
    return turns * nanoseconds / file_.spacing_Hz;
  }

  void expectAsModelled(std::size_t row, std::optional<Search> search = {}) const {
    const std::vector<double> found = search ? found_ns(row, *search) : found_ns(row);
    const std::vector<double> expected = modelled_ns(row, search);
    ASSERT_EQ(found.size(), expected.size()) << "row " << row;
    for (std::size_t k = 0; k < found.size(); ++k) {
      EXPECT_NEAR(found[k], expected[k], agreement_ns(row)) << "row " << row << ", path " << k + 1;
    }
  }

 private:
  CsiFile file_;
};

struct DataFile {
  const char* name;
  std::uint32_t spacing_Hz;
  std::size_t measurements;
  std::size_t subcarriers;
};

/// What data/ has to hold.
const DataFile channelFiles[] = {
    {"boards_s11.csv", 25000000, 5, 200},      {"boards_s21.csv", 25000000, 7, 200},
    {"phase_ranging_200.csv", 500000, 7, 200}, {"sounding_51.csv", 1000000, 16, 51},
    {"uwb_115.csv", 3900000, 24, 115},         {"uwb_ranging.csv", 3900000, 180, 115},
    {"wifi_498.csv", 78125, 4, 498},
};

/// The lines of a table behind its header; none of a file that is absent.
std::size_t rowsOfTable(const std::string& name) {
  std::ifstream file(support::dataFile(name));
  std::string line;
  std::size_t lines = 0;
  while (std::getline(file, line)) {
    ++lines;
  }
  return lines == 0 ? 0 : lines - 1;
}

testing::AssertionResult isAmong(const std::vector<double>& found_ns, double delay_ns) {
  const double tolerance = std::max(0.01 * delay_ns, 0.01);
  for (const double delay : found_ns) {
    if (std::abs(delay - delay_ns) <= tolerance) {
      return testing::AssertionSuccess();
    }
  }
  return testing::AssertionFailure()
         << delay_ns << " ns is not among " << testing::PrintToString(found_ns);
}

struct NamedDelay {
  std::size_t row;
  double delay_ns;
  const char* what;
};

const NamedDelay throughLines[] = {
    {1, 0.6944, "microstrip, 100 mm"},
    {2, 1.3090, "microstrip, 200 mm"},
    {3, 0.6913, "second microstrip, 100 mm"},
    {4, 1.3033, "second microstrip, 200 mm"},
    {5, 0.6310, "coplanar, 100 mm"},
    {6, 1.1890, "coplanar, 200 mm"},
    {7, 0.942, "stepped line"},
};

const NamedDelay reflectedFromLines[] = {
    {1, 0.693, "open"}, {2, 0.688, "shorted"}, {3, 0.693, "open"}, {4, 0.688, "shorted"}};

/// Without smoothing the covariance has rank one, and the one-path search is the highest peak of
/// the Fourier transform of the measurement.
constexpr Search strongestDelay = {1, false};

}  // namespace

// EXACT: a file that is absent or cut short would leave the tests below with less to look at.
TEST(DataFolder, IsComplete) {
  std::vector<std::string> names;
  for (const DataFile& expected : channelFiles) {
    names.emplace_back(expected.name);
    const CsiFile file = support::readMeasured(expected.name);
    EXPECT_EQ(file.spacing_Hz, expected.spacing_Hz) << expected.name;
    EXPECT_EQ(file.measurements.size(), expected.measurements) << expected.name;
    for (const std::vector<creal32_T>& samples : file.measurements) {
      EXPECT_EQ(samples.size(), expected.subcarriers) << expected.name;
    }
  }
  EXPECT_EQ(support::measuredFiles(), names);
  EXPECT_EQ(rowsOfTable("uwb_ranging_truth.csv"), 180U);
  EXPECT_EQ(rowsOfTable("uwb_ranging_pulse.csv"), 115U);
}

TEST_F(MeasuredData, TransmissionLines_NamedDelaysAreFound) {
  load("boards_s21");
  for (const NamedDelay& line : throughLines) {
    EXPECT_TRUE(isAmong(found_ns(line.row), line.delay_ns)) << line.what;
  }
  EXPECT_TRUE(isAmong(found_ns(7), 1.186)) << "the reflection inside the stepped line, 10 dB below";
}

TEST_F(MeasuredData, TransmissionLines_StrongestDelay) {
  load("boards_s21");
  for (const NamedDelay& line : throughLines) {
    const std::vector<double> found = found_ns(line.row, strongestDelay);
    EXPECT_EQ(found.size(), 1U) << line.what;
    EXPECT_TRUE(isAmong(found, line.delay_ns)) << line.what;
  }
}

TEST_F(MeasuredData, ReflectingLines_NamedDelaysAreFound) {
  load("boards_s11");
  for (const NamedDelay& line : reflectedFromLines) {
    EXPECT_TRUE(isAmong(found_ns(line.row), line.delay_ns)) << line.what;
  }
}

// The stepped line's two reflections, 0.718 and 0.987 ns, do not come out with the estimated count:
// five paths are counted, and the five-path fit splits them over 0.693, 0.943 and 1.070 ns. That is
// the method, not its precision: the model counts and finds the same. One path of the unsmoothed
// measurement is the first of the named delays, three paths hold the second.
TEST_F(MeasuredData, SteppedLineReflection_DefaultsFollowTheModel_NamedDelaysNeedAForcedCount) {
  load("boards_s11");
  EXPECT_EQ(found_ns(5).size(), 5U);
  expectAsModelled(5);
  EXPECT_TRUE(isAmong(found_ns(5, strongestDelay), 0.718));
  EXPECT_TRUE(isAmong(found_ns(5, {3, true}), 0.987));
  expectAsModelled(5, Search{3, true});
}

// The reference is a main delay of 5.8 to 6.1 ns in all seven. One path is counted, so that the
// closed form answers by default, and it weighs no subcarrier less for its noise: 6.1 to 7.3 ns.
// The model counts one path and answers the same. Row 4 alone lies within the reference.
TEST_F(MeasuredData, PhaseRanging_DefaultsFollowTheModel) {
  load("phase_ranging_200");
  ASSERT_EQ(count(), 7U);
  for (std::size_t row = 1; row <= count(); ++row) {
    EXPECT_EQ(found_ns(row).size(), 1U) << row;
    expectAsModelled(row);
  }
  EXPECT_TRUE(isAmong(found_ns(4), 6.1));
}

// The strongest delay of the unsmoothed measurement is within the reference in all seven.
TEST_F(MeasuredData, PhaseRanging_StrongestDelayIsTheMainDelay) {
  load("phase_ranging_200");
  for (std::size_t row = 1; row <= count(); ++row) {
    const std::vector<double> found = found_ns(row, strongestDelay);
    ASSERT_EQ(found.size(), 1U) << row;
    EXPECT_GE(found[0], 5.8 * 0.99) << row;
    EXPECT_LE(found[0], 6.1 * 1.01) << row;
    expectAsModelled(row, strongestDelay);
  }
}

// Smoothed, one path searched for: rows 5 and 7 come out at 5.60 and 5.52 ns, below the reference,
// in the model as well. The other five meet it.
TEST_F(MeasuredData, PhaseRanging_SmoothedSearch) {
  load("phase_ranging_200");
  for (std::size_t row = 1; row <= count(); ++row) {
    expectAsModelled(row, Search{1, true});
    if (row != 5 && row != 7) {
      const std::vector<double> found = found_ns(row, {1, true});
      ASSERT_EQ(found.size(), 1U) << row;
      EXPECT_GE(found[0], 5.8 * 0.99) << row;
      EXPECT_LE(found[0], 6.1 * 1.01) << row;
    }
  }
}

// The impulse response peaks between 7 and 18 ns; that is what the strongest delay is.
TEST_F(MeasuredData, Sounding_StrongestDelayIsWhereTheImpulseResponsePeaks) {
  load("sounding_51");
  for (std::size_t row = 1; row <= count(); ++row) {
    const std::vector<double> found = found_ns(row, strongestDelay);
    ASSERT_EQ(found.size(), 1U) << row;
    EXPECT_GE(found[0], 7.0) << row;
    EXPECT_LE(found[0], 18.0) << row;
  }
}

TEST_F(MeasuredData, Sounding_DefaultsFollowTheModel) {
  load("sounding_51");
  for (std::size_t row = 1; row <= count(); ++row) {
    expectAsModelled(row);
  }
}

TEST_F(MeasuredData, TransmissionLines_DefaultsFollowTheModel) {
  load("boards_s21");
  for (const std::size_t row : {1U, 2U, 7U}) {
    expectAsModelled(row);
  }
}

TEST_F(MeasuredData, UltraWideBand_DefaultsFollowTheModel) {
  load("uwb_115");
  for (std::size_t row = 1; row <= count(); ++row) {
    expectAsModelled(row);
  }
}

// The first measurement of each configuration.
TEST_F(MeasuredData, UltraWideBandRanging_DefaultsFollowTheModel) {
  load("uwb_ranging");
  for (std::size_t row = 1; row <= count(); row += 10) {
    expectAsModelled(row);
  }
}

TEST_F(MeasuredData, WiFi_DefaultsFollowTheModel) {
  load("wifi_498");
  EXPECT_EQ(found_ns(1).size(), 2U);
  expectAsModelled(1);
}
