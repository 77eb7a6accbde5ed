#include "flightpath/ranging/signal_polynomial.h"

#include <gtest/gtest.h>

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

SignalPolynomial polynomialOf(const std::vector<Vector>& vectors, int L) {
  SignalPolynomial polynomial(L);
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

std::vector<double> noiseEnergies(const SignalPolynomial& polynomial,
                                  const std::vector<double>& frequencies) {
  std::vector<double> re;
  std::vector<double> im;
  for (const double f : frequencies) {
    re.push_back(std::cos(2.0 * std::numbers::pi * f));
    im.push_back(std::sin(2.0 * std::numbers::pi * f));
  }
  std::vector<double> energy(frequencies.size(), -1.0);
  polynomial.noiseEnergy(re, im, energy);
  return energy;
}

std::vector<double> spread(std::size_t count) {
  std::vector<double> frequencies;
  for (std::size_t i = 0; i < count; ++i) {
    frequencies.push_back(-0.49 + 0.013 * static_cast<double>(i));
  }
  return frequencies;
}

}  // namespace

// BOUND: r(d) are sums of at most L products a vector, and Horner's rule adds L steps of at most six
// roundings, of numbers below L a vector; the power z^d itself is off by d eps.
TEST(SignalPolynomial, NoiseEnergyIsTheDimensionLessWhatIsCaptured) {
  for (const int L : {1, 2, 3, 23, 48}) {
    for (const int count : {0, 1, 3}) {
      const std::vector<Vector> vectors = unitVectors(count, L);
      const SignalPolynomial polynomial = polynomialOf(vectors, L);
      const double bound = 10.0 * L * std::numeric_limits<double>::epsilon() * L * (count + 1);
      for (const std::size_t points : {0U, 1U, 7U, 8U, 9U, 16U, 61U, 101U}) {
        const std::vector<double> frequencies = spread(points);
        const std::vector<double> energy = noiseEnergies(polynomial, frequencies);
        for (std::size_t i = 0; i < points; ++i) {
          ASSERT_NEAR(energy[i], L - captured(vectors, frequencies[i]), bound)
              << "L " << L << ", vectors " << count << ", point " << i << " of " << points;
        }
      }
    }
  }
}

// EXACT: a point has one value, wherever it stands among the others.
TEST(SignalPolynomial, APointDoesNotDependOnItsNeighbours) {
  const SignalPolynomial polynomial = polynomialOf(unitVectors(2, 23), 23);
  const std::vector<double> frequencies = spread(21);
  const std::vector<double> together = noiseEnergies(polynomial, frequencies);
  for (std::size_t i = 0; i < frequencies.size(); ++i) {
    EXPECT_EQ(noiseEnergies(polynomial, {frequencies[i]})[0], together[i]) << i;
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
  SignalPolynomial polynomial = polynomialOf(unitVectors(2, 7), 7);
  polynomial.clear();
  for (const double energy : noiseEnergies(polynomial, spread(11))) {
    EXPECT_EQ(energy, 7.0);
  }
}
