#pragma once

namespace flightpath {

/// The q for which |T| <= q has the probability `level`, T of Student's distribution.
///
///   P(|T| > q) = I_x(degrees / 2, 1 / 2),   x = degrees / (degrees + q^2)
///
/// level    above 0, below 1
/// degrees  above 0, not necessarily whole
///
/// Source: NIST Digital Library of Mathematical Functions, 8.17.22, for the incomplete beta function.
double studentQuantile(double level, double degrees);

}  // namespace flightpath
