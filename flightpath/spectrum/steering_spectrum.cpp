#include "flightpath/spectrum/steering_spectrum.h"

#include <algorithm>
#include <cassert>
#include <cstdint>

#include "flightpath/runtime/detail/complex_math.h"
#include "flightpath/runtime/detail/view.h"
#include "flightpath/spectrum/detail/decibels.h"
#include "flightpath/spectrum/detail/steering.h"
#include "flightpath/spectrum/detail/steering_spectrum.h"
#include "flightpath/toolbox/detail/blas.h"
#include "flightpath/toolbox/reductions.h"

namespace {

using coder::array;
using flightpath::blas::Transpose;

/// Y := A^H E, F x K; zeros where there is nothing to add.
void project(const array<creal32_T, 2>& A, const array<creal32_T, 2>& E, array<creal32_T, 2>& Y) {
  const std::int32_t M = E.size[0];
  Y.set_size(A.size[1], E.size[1]);
  if (Y.numel > 0 && M > 0) {
    flightpath::blas::multiply(Y.size[0], Y.size[1], M, {A.data, M, Transpose::Conjugate},
                               {E.data, M, Transpose::None}, Y.data);
  }
}

}  // namespace

namespace flightpath {

void steeringSpectrum(const array<creal32_T, 2>& noiseSubspace, std::span<const float> freqs,
                      array<float, 1>& spectrum) {
  array<creal32_T, 2> A;
  steeringVectors(noiseSubspace.size[0], freqs, A);
  array<creal32_T, 2> Y;
  project(A, noiseSubspace, Y);
  array<float, 2> energies;
  energies.set_size(Y.size[0], Y.size[1]);
  std::ranges::transform(Y, energies.begin(), [](creal32_T y) {
    const float r = modulus(y);
    return r * r;  // what rt_powf_snf(r, 2) gives, without a call per element
  });
  array<float, 1> noiseEnergy;
  coder::sum(energies, noiseEnergy);
  spectrum.set_size(noiseEnergy.numel);
  std::ranges::transform(noiseEnergy, spectrum.begin(), pseudoSpectrumDecibels);
}

}  // namespace flightpath

void evaluatePseudoSpectrum(const array<creal32_T, 2>& noiseSubspace, const array<float, 2>& freqs,
                            array<float, 1>& spectrum) {
  flightpath::steeringSpectrum(noiseSubspace, flightpath::asRow(freqs), spectrum);
}

void evaluatePseudoSpectrum(const array<creal32_T, 2>& noiseSubspace, const array<float, 1>& freqs,
                            array<float, 1>& spectrum) {
  assert(&freqs != &spectrum);
  flightpath::steeringSpectrum(noiseSubspace, flightpath::elements(freqs), spectrum);
}
