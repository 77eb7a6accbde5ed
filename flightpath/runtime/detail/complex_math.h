#pragma once

#include <cmath>

#include "flightpath/runtime/complex.h"

/// Single-precision complex arithmetic with the operation order that the results are defined by.
namespace flightpath {

inline creal32_T conjugate(creal32_T z) { return {z.re, -z.im}; }

inline creal32_T add(creal32_T a, creal32_T b) { return {a.re + b.re, a.im + b.im}; }

/// a * conj(b)
inline creal32_T timesConjugate(creal32_T a, creal32_T b) {
  return {a.re * b.re + a.im * b.im, a.im * b.re - a.re * b.im};
}

/// z / d for a real d: a part that is zero stays out of the division, so that the other one decides
/// alone and no signed zero or 0 / 0 appears beside it.
inline creal32_T divideByReal(creal32_T z, float d) {
  if (z.im == 0.0F) {
    return {z.re / d, 0.0F};
  }
  if (z.re == 0.0F) {
    return {0.0F, z.im / d};
  }
  return {z.re / d, z.im / d};
}

/// z / 2 under the rule of `divideByReal`, as a product with 0.5.
inline creal32_T halve(creal32_T z) {
  if (z.im == 0.0F) {
    return {z.re * 0.5F, 0.0F};
  }
  if (z.re == 0.0F) {
    return {0.0F, z.im * 0.5F};
  }
  return {z.re * 0.5F, z.im * 0.5F};
}

/// |z| without overflow or underflow of the squares: with a = |re| and b = |im|,
///   larger * sqrt((smaller / larger)^2 + 1),   a * sqrt(2) where a = b,   NaN for a NaN part
///
/// Both forms are computed and one is chosen, so that loops over it become vector code. A NaN part
/// passes through the first one; 0 / 0 and inf / inf appear there only where the second is chosen.
inline float modulus(creal32_T z) {
  constexpr float sqrt2 = 1.4142135F;
  const float a = std::fabs(z.re);
  const float b = std::fabs(z.im);
  const float larger = a < b ? b : a;
  const float smaller = a < b ? a : b;
  const float ratio = smaller / larger;
  const float unequal = larger * std::sqrt(ratio * ratio + 1.0F);
  return a == b ? a * sqrt2 : unequal;
}

}  // namespace flightpath
