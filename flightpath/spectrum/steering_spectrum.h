#pragma once

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"
#include "flightpath/runtime/export.h"

/// MUSIC pseudo-spectrum in decibels at given frequencies, by steering vectors.
///
///   s(j) = sum over k of |a(f_j)^H e_k|^2,   spectrum(j) = 20 log10(1 / s(j) + 2^-52)
///
/// in single precision, the reciprocal first; +inf where s(j) = 0
///
/// noiseSubspace  M x K, one noise eigenvector e_k per column. No column: +inf everywhere
/// freqs          normalised frequencies in cycles per sample: a row (its second extent counts) or
///                a column; nothing checks their range
/// spectrum       (out) one value per frequency; not the array of the frequencies
///
/// Errors: std::length_error where M x F or F x K passes 2147483647.
///
/// Source: R. O. Schmidt, Multiple emitter location and signal parameter estimation, IEEE Trans.
/// Antennas Propag. 34(3), 1986. The factor 20 on a power ratio is this library's scale.
FLIGHTPATH_API void evaluatePseudoSpectrum(const coder::array<creal32_T, 2>& noiseSubspace,
                                           const coder::array<float, 2>& freqs,
                                           coder::array<float, 1>& spectrum);
FLIGHTPATH_API void evaluatePseudoSpectrum(const coder::array<creal32_T, 2>& noiseSubspace,
                                           const coder::array<float, 1>& freqs,
                                           coder::array<float, 1>& spectrum);
