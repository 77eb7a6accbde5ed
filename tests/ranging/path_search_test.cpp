#include "flightpath/ranging/detail/path_search.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <vector>

using flightpath::FoundPath;
using flightpath::PathSearch;

namespace {

using Complex = std::complex<double>;

constexpr int L = 48;
constexpr int points = 512;
constexpr flightpath::Resolutions steps = {1.0F / points, 1.0F / (50 * points)};

/// exp(i 2 pi f (m - (L - 1) / 2)), m = 0 ... L - 1
std::vector<Complex> steering(double f) {
  std::vector<Complex> s;
  for (int m = 0; m < L; ++m) {
    s.push_back(std::polar(1.0, 2.0 * std::numbers::pi * f * (m - 0.5 * (L - 1))));
  }
  return s;
}

/// a + weight b, of unit norm
std::vector<Complex> mixed(const std::vector<Complex>& a, double weight,
                           const std::vector<Complex>& b) {
  std::vector<Complex> e;
  double energy = 0.0;
  for (std::size_t m = 0; m < a.size(); ++m) {
    e.push_back(a[m] + weight * b[m]);
    energy += std::norm(e.back());
  }
  for (Complex& element : e) {
    element /= std::sqrt(energy);
  }
  return e;
}

void add(PathSearch& search, const std::vector<Complex>& e) {
  std::vector<double> re;
  std::vector<double> im;
  for (const Complex z : e) {
    re.push_back(z.real());
    im.push_back(z.imag());
  }
  search.add(re, im);
}

std::vector<FoundPath> find(PathSearch& search, const std::vector<Complex>& e) {
  search.clear();
  add(search, e);
  std::vector<FoundPath> paths;
  search.search(2, paths);
  return paths;
}

/// The pseudo-spectrum on the coarse grid, in decibels of its energy.
std::vector<double> spectrum(const std::vector<Complex>& e) {
  std::vector<double> y;
  for (int i = 0; i < points; ++i) {
    Complex sum;
    for (int m = 0; m < L; ++m) {
      sum +=
          e[static_cast<std::size_t>(m)] * std::polar(1.0, 2.0 * std::numbers::pi * i * m / points);
    }
    y.push_back(-20.0 * std::log10(std::fabs(L - std::norm(sum))));
  }
  return y;
}

}  // namespace

// BOUND: 2e-4 dB, ten times what single precision makes of a value of some 30 dB; a population's deviation
// would be 1e-3 dB off or more. A second peak is raised until it passes the threshold.
TEST(PathSearch, APeakCountsFromOneSampleDeviationAboveTheMeanOn) {
  PathSearch search(L, steps);
  const std::vector<Complex> strong = steering(-100.0 / points);
  const std::vector<Complex> weak = steering(-325.0 / points);
  double low = 0.0;
  double high = 1.0;
  ASSERT_EQ(find(search, mixed(strong, low, weak)).size(), 1U);
  ASSERT_EQ(find(search, mixed(strong, high, weak)).size(), 2U);
  for (int i = 0; i < 40; ++i) {
    const double middle = 0.5 * (low + high);
    (find(search, mixed(strong, middle, weak)).size() == 1 ? low : high) = middle;
  }
  const std::vector<double> y = spectrum(mixed(strong, high, weak));
  double sum = 0.0;
  for (const double value : y) {
    sum += value;
  }
  const double mean = sum / points;
  double squares = 0.0;
  for (const double value : y) {
    squares += (value - mean) * (value - mean);
  }
  const double deviation = std::sqrt(squares / (points - 1));
  ASSERT_GT(deviation - std::sqrt(squares / points), 1e-3) << "the case is none";
  EXPECT_NEAR(y[325] - mean, deviation, 2e-4);
}

// EXACT: two delays as far to both sides of a coarse peak have the same noise energy, and the earlier one is
// the answer. BOUND for where: half a fine step.
TEST(PathSearch, TheFirstOfEqualCandidatesIsTheAnswer) {
  PathSearch search(L, steps);
  const double away = 0.3 / points;
  const std::vector<Complex> before = steering(-away);
  const std::vector<Complex> behind = steering(away);
  add(search, mixed(before, 1.0, behind));   // cosines
  add(search, mixed(before, -1.0, behind));  // sines
  std::vector<FoundPath> paths;
  search.search(1, paths);
  ASSERT_EQ(paths.size(), 1U);
  EXPECT_NEAR(paths[0].frequency, -away, 0.5 / (50 * points));
}
