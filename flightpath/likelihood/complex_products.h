#pragma once

#include <complex>

/// Products in double precision by the formula alone: the operators of std::complex look for NaN after
/// each one, and finite samples have none.
namespace flightpath {

using Complex = std::complex<double>;

inline Complex times(Complex a, Complex b) {
  return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

/// conj(a) b
inline Complex conjugateTimes(Complex a, Complex b) {
  return {a.real() * b.real() + a.imag() * b.imag(), a.real() * b.imag() - a.imag() * b.real()};
}

}  // namespace flightpath
