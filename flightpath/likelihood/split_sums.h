#pragma once

#include "flightpath/likelihood/complex_products.h"

/// Sums over complex vectors whose real and imaginary parts lie apart. Elements of even and of odd
/// index are added side by side, which fills a register of two: the order is the same everywhere.
namespace flightpath {

/// A complex vector.
struct SplitVector {
  const double* re;
  const double* im;
};

/// sum of conj(a) b, times c^0, c^1 and c^2
struct Moments {
  Complex zeroth;
  Complex first;
  Complex second;
};

Complex conjugateDot(int n, SplitVector a, SplitVector b);

/// The sum of c conj(a) b.
Complex conjugateDot(int n, const double* c, SplitVector a, SplitVector b);

Moments conjugateMoments(int n, const double* c, SplitVector a, SplitVector b);

/// y -= x a
void subtractMultiple(int n, Complex x, SplitVector a, double* re, double* im);

/// The sum of |a|^2.
double energy(int n, SplitVector a);

}  // namespace flightpath
