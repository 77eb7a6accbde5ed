#include <gtest/gtest.h>

#include <cstddef>
#include <span>
#include <vector>

#include "flightpath/ranging/detail/signal_polynomial.h"

// EXACT: the buffer behind the span belongs to somebody else.
TEST(SignalPolynomialSpectrum, WritesNothingBehindTheSpan) {
  constexpr creal32_T untouched = {-7.0F, 7.0F};
  constexpr float offsets[] = {0.0F};
  const flightpath::SignalPolynomial polynomial(4, offsets);
  for (const std::size_t size : {1U, 3U, 4U, 5U, 9U}) {
    std::vector<creal32_T> buffer(size + 4, untouched);
    polynomial.toSpectrum(std::span(buffer).first(size));
    for (std::size_t d = 0; d < buffer.size(); ++d) {
      const creal32_T expected = d < size ? creal32_T{0.0F, 0.0F} : untouched;
      EXPECT_EQ(buffer[d].re, expected.re) << d << " of " << size;
      EXPECT_EQ(buffer[d].im, expected.im) << d << " of " << size;
    }
  }
}
