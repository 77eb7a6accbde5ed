#pragma once

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"
#include "flightpath/runtime/export.h"

/// How many signals a measurement holds, and the space that they span.
///
///   minimum over k of Q(k) = penalty(k) + Ld(k)
///   penalty: (2m - k + 1) k / 2 for a smoothed covariance, (2m - k) k for the outer product, m the
///   number of positive eigenvalues
///
/// x                     column of N samples
/// measurementContinual  non-zero: the samples are uniformly spaced, smooth the covariance (M = L);
///                       zero: take the outer product (M = N)
/// eigenvectors          (out) M x M, strongest first
/// eigenvalues           (out) m values, descending: those that are negative or zero are left out,
///                       NaNs stay. The eigenvectors all stay, so leading positions agree
/// returns the count, a whole number in 0 ... m - 1; of equal minima the smaller; 0 where no
///         eigenvalue is left or all are NaN
///
/// Errors: std::length_error where M x M passes 2147483647.
///
/// Non-finite samples give NaN eigenvalues and eigenvectors and a count of 0.
///
/// Source: M. Wax and T. Kailath, Detection of signals by information theoretic criteria, IEEE
/// Trans. Acoust., Speech, Signal Process. 33(2), 1985; the smoothed penalty after S. U. Pillai and
/// B. H. Kwon 1989.
FLIGHTPATH_API float determineNumSignals(const coder::array<creal32_T, 1>& x,
                                         unsigned char measurementContinual,
                                         coder::array<creal32_T, 2>& eigenvectors,
                                         coder::array<float, 1>& eigenvalues);
