#include "flightpath/ranging/detail/signal_polynomial.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <limits>
#include <numbers>
#include <random>
#include <span>
#include <vector>

using flightpath::SignalPolynomial;
using Complex = std::complex<double>;
using Vector = std::vector<Complex>;

namespace {

/// Random vectors of unit norm.
std::vector<Vector> unitVectors(int count, int L) {
  std::mt19937_64 random(static_cast<unsigned>(100 * count + L));
  std::normal_distribution<double> normal;
  std::vector<Vector> all;
  for (int k = 0; k < count; ++k) {
    Vector e;
    double energy = 0.0;
    for (int m = 0; m < L; ++m) {
      e.emplace_back(normal(random), normal(random));
      energy += std::norm(e.back());
    }
    for (Complex& value : e) {
      value /= std::sqrt(energy);
    }
    all.push_back(e);
  }
  return all;
}

/// With `offsets` as the fine grid.
SignalPolynomial polynomialOf(const std::vector<Vector>& vectors, int L,
                              const std::vector<float>& offsets = {}) {
  SignalPolynomial polynomial(L, offsets);
  for (const Vector& e : vectors) {
    std::vector<double> re;
    std::vector<double> im;
    for (const Complex z : e) {
      re.push_back(z.real());
      im.push_back(z.imag());
    }
    polynomial.add(re, im);
  }
  return polynomial;
}

/// S(f) from its definition.
double captured(const std::vector<Vector>& vectors, double f) {
  double sum = 0.0;
  for (const Vector& e : vectors) {
    Complex inner;
    for (std::size_t m = 0; m < e.size(); ++m) {
      inner += e[m] * std::polar(1.0, 2.0 * std::numbers::pi * static_cast<double>(m) * f);
    }
    sum += std::norm(inner);
  }
  return sum;
}

/// As many offsets as asked, evenly from -widest to widest.
std::vector<float> evenOffsets(std::size_t count, double widest) {
  std::vector<float> offsets;
  for (std::size_t i = 0; i < count; ++i) {
    const double place =
        static_cast<double>(i) / static_cast<double>(std::max<std::size_t>(count - 1, 1));
    offsets.push_back(static_cast<float>(widest * (2.0 * place - 1.0)));
  }
  return offsets;
}

}  // namespace

// BOUND: r(d) are sums of at most L products a vector, the power z^d is off by d eps, and every term of
// the series adds a sum of L products; all numbers stay below L a vector. A far offset makes the series
// long, with terms of up to exp(|u|): there the bound grows with them.
TEST(SignalPolynomial, NoiseEnergyIsTheDimensionLessWhatIsCaptured) {
  const double eps = std::numeric_limits<double>::epsilon();
  for (const int L : {1, 2, 3, 23, 48}) {
    for (const int count : {0, 1, 3}) {
      const std::vector<Vector> vectors = unitVectors(count, L);
      for (const double widest : {0.0, 0.001 / L, 0.035 / L, 0.3 / L}) {
        const double bound = 10.0 * L * eps * L * (count + 1) * std::exp(6.3 * L * widest);
        for (const std::size_t points : {0U, 1U, 7U, 8U, 101U}) {
          const std::vector<float> offsets = evenOffsets(points, widest);
          SignalPolynomial polynomial = polynomialOf(vectors, L, offsets);
          for (const double f : {-0.49, 0.0, 0.123, 0.5}) {
            const std::span<const double> energy = polynomial.noiseEnergy(f);
            ASSERT_EQ(energy.size(), points);
            for (std::size_t i = 0; i < points; ++i) {
              ASSERT_NEAR(energy[i], L - captured(vectors, f + offsets[i]), bound)
                  << "L " << L << ", vectors " << count << ", f " << f << " + " << offsets[i];
            }
          }
        }
      }
    }
  }
}

// EXACT: a point has one value, wherever it stands among the others.
TEST(SignalPolynomial, APointDoesNotDependOnItsNeighbours) {
  const std::vector<Vector> vectors = unitVectors(2, 23);
  const std::vector<float> offsets = evenOffsets(21, 0.0015);
  SignalPolynomial polynomial = polynomialOf(vectors, 23, offsets);
  const std::span<const double> together = polynomial.noiseEnergy(0.25);
  for (std::size_t i = 0; i < offsets.size(); ++i) {
    // The widest offset decides how many terms there are: it comes along.
    SignalPolynomial pair = polynomialOf(vectors, 23, {offsets[i], offsets[0]});
    EXPECT_EQ(pair.noiseEnergy(0.25)[0], together[i]) << i;
  }
}

// BOUND: each coefficient is rounded to single precision, half an eps of it; the transform here is
// in double.
TEST(SignalPolynomial, TheSpectrumIsThatOfTheDefinition) {
  for (const int L : {1, 2, 23, 48}) {
    const int n = 4 * L + 6;
    const std::vector<Vector> vectors = unitVectors(2, L);
    const SignalPolynomial polynomial = polynomialOf(vectors, L);
    std::vector<creal32_T> half(static_cast<std::size_t>(n / 2 + 1), {9.0F, 9.0F});
    polynomial.toSpectrum(half);
    for (int j = 0; j < n; ++j) {
      double S = half[0].re;
      double scale = std::fabs(half[0].re);
      for (std::size_t d = 1; d < half.size(); ++d) {
        const double angle = 2.0 * std::numbers::pi * static_cast<double>(d) * j / n;
        S += 2.0 * (half[d].re * std::cos(angle) - half[d].im * std::sin(angle));
        scale += 2.0 * std::hypot(half[d].re, half[d].im);
      }
      EXPECT_NEAR(S, captured(vectors, static_cast<double>(j) / n),
                  std::numeric_limits<float>::epsilon() * scale)
          << "L " << L << ", " << j;
    }
  }
}

// EXACT: zeros behind the last lag, and no imaginary part at lag 0.
TEST(SignalPolynomial, BehindTheLastLagStandZeros) {
  const SignalPolynomial polynomial = polynomialOf(unitVectors(1, 5), 5);
  std::vector<creal32_T> half(20, {9.0F, 9.0F});
  polynomial.toSpectrum(half);
  EXPECT_EQ(half[0].im, 0.0F);
  EXPECT_NE(half[4].re, 0.0F);
  for (std::size_t d = 5; d < half.size(); ++d) {
    EXPECT_EQ(half[d].re, 0.0F) << d;
    EXPECT_EQ(half[d].im, 0.0F) << d;
  }
}

// EXACT
TEST(SignalPolynomial, ClearedItCapturesNothing) {
  SignalPolynomial polynomial = polynomialOf(unitVectors(2, 7), 7, evenOffsets(11, 0.005));
  polynomial.clear();
  for (const double energy : polynomial.noiseEnergy(0.2)) {
    EXPECT_EQ(energy, 7.0);
  }
}
