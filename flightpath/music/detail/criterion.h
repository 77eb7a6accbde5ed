#pragma once

#include "flightpath/runtime/array.h"

namespace flightpath {

/// Drops every eigenvalue that is zero or negative, keeping the order of the others and NaNs.
void dropNonPositive(coder::array<float, 1>& eigenvalues);

/// The criterion Q(k) for k = 0 ... m - 1, m the number of eigenvalues.
///
/// The penalty is formed in double and rounded to float; it joins the log-likelihood in float.
void criterion(const coder::array<float, 1>& eigenvalues, bool smoothed,
               coder::array<double, 1>& Q);

/// The k of the smallest Q(k), the first of equals; 0 where there is none or all are NaN.
float countAtMinimum(const coder::array<double, 1>& Q);

}  // namespace flightpath
