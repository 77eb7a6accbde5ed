#pragma once

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/export.h"

namespace coder {

/// N = floor(n) evenly spaced floats from d1 to d2; the end points are exact.
///
///   d1 = -d2:                 y(k) = (2k - N - 1) * (d2 / (N - 1)), the middle of an odd N is 0
///   d2 - d1 might overflow:   y(k) = d1 + (k - 1) * (d2 / (N - 1)) - (k - 1) * (d1 / (N - 1))
///   otherwise:                y(k) = (k - 1) * ((d2 - d1) / (N - 1)) + d1
///   for k = 2 ... N - 1, counted from 1, every operation rounded to float
///
/// y  (out) 1 x N; one point is d2; 1 x 0 for n negative or NaN
///
/// Errors: std::length_error for more points than an array can hold.
FLIGHTPATH_API void linspace(float d1, float d2, float n, array<float, 2>& y);

/// N = floor(n) evenly spaced doubles from 0 to d2; the end points are exact.
///
///   y(k) = (k - 1) * (d2 / (N - 1)) for k = 2 ... N - 1, counted from 1
///
/// y  (out) 1 x N; one point is d2; left as it was for n negative or NaN, unlike the float grid
///
/// Errors: std::length_error for more points than an array can hold.
FLIGHTPATH_API void linspace(double d2, double n, array<double, 2>& y);

}  // namespace coder
