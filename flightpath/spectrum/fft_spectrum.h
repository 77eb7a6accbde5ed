#pragma once

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"
#include "flightpath/runtime/export.h"

class MUSICLib;

/// MUSIC pseudo-spectrum on a uniform grid over the whole period, from the signal subspace, with
/// one FFT per eigenvector.
///
///   S(j) = sum over k of |sum over m of u_k(m) exp(+i 2 pi m (j - 1) / N)|^2
///   spectrum(j) = 1 / |M - S(j)|                  linear scale; +inf where S(j) = M
///
/// obj       supplies the FFT plans
/// U         M x K, the eigenvectors of the signal subspace as columns. Conjugated in place: the
///           caller sees the change. No column: the spectrum is 1 / M everywhere
/// spectrum  (out) N values, centred: from frequency -0.5 upward
/// freqs     (out) N normalised frequencies in cycles per sample, ascending, from -0.5 for an
///           even N; spectrum(j) belongs to freqs(j)
/// energies  (out) N x K, |H_k|^2 as complex values with imaginary part 0, not centred
/// N         number of grid points, truncated; below 1 or NaN: empty outputs
///
/// All arrays must be distinct.
///
/// Errors: std::length_error for N infinite or above 2^24, or N x K above 2147483647. Where an error
/// ends the call, U is as it was.
///
/// Source: R. O. Schmidt, Multiple emitter location and signal parameter estimation, IEEE Trans.
/// Antennas Propag. 34(3), 1986, with the projection onto the noise subspace written as M minus the
/// projection onto the signal subspace.
FLIGHTPATH_API void evaluatePseudoSpectrumFFT(MUSICLib* obj, coder::array<creal32_T, 2>& U,
                                              coder::array<float, 1>& spectrum,
                                              coder::array<float, 1>& freqs,
                                              coder::array<creal32_T, 2>& energies, float N);
