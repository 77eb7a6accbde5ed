#pragma once

#include <cstddef>
#include <limits>
#include <vector>

#include "tests/refusal/scenario.h"
#include "tests/support/builders.h"
#include "tests/support/channels.h"
#include "tests/support/dft_model.h"

/// One matrix for each way through the eigen decomposition, and the calls that solve them.
namespace refusal {

using ComplexMatrix = coder::array<creal32_T, 2>;

constexpr int matrixOrder = 6;
constexpr std::size_t matrixElements = 36;

inline ComplexMatrix general() {
  return support::matrix(matrixOrder, matrixOrder, support::randomTaps(matrixElements, 9));
}

/// A(i, j) := (sign * conj(G(j, i)) + G(i, j)), whose mirrored elements match exactly.
inline ComplexMatrix mirrored(float sign) {
  const ComplexMatrix G = general();
  ComplexMatrix A(G);
  for (int j = 0; j < matrixOrder; ++j) {
    for (int i = 0; i < matrixOrder; ++i) {
      A(i, j) = {G(i, j).re + sign * G(j, i).re, G(i, j).im - sign * G(j, i).im};
    }
  }
  return A;
}

inline ComplexMatrix hermitian() { return mirrored(1.0F); }
inline ComplexMatrix skewHermitian() { return mirrored(-1.0F); }

inline ComplexMatrix withNaN() {
  ComplexMatrix A = general();
  A(1, 1).re = std::numeric_limits<float>::quiet_NaN();
  return A;
}

inline ComplexMatrix notSquare() {
  return support::matrix(4, 3, std::vector<creal32_T>(12, {1.0F, 0.0F}));
}

struct Eigenpairs {
  ComplexMatrix V;
  coder::array<creal32_T, 1> d;

  auto parts() const { return std::tie(V, d); }
};

inline std::unique_ptr<Scenario> decomposing(ComplexMatrix A) {
  return filling<Eigenpairs>(std::move(A), [](const ComplexMatrix& matrix, Eigenpairs& e) {
    coder::eig(matrix, e.V, e.d);
  });
}

struct HermitianSolve {
  ComplexMatrix A;
  coder::array<float, 1> W;
  int info = 0;

  void solve() { info = coder::internal::lapack::xsyheev(A, W); }
  auto parts() const { return std::tie(A, W, info); }
};

struct Count {
  float numSignals = 0.0F;
  ComplexMatrix eigenvectors;
  coder::array<float, 1> eigenvalues;

  auto parts() const { return std::tie(numSignals, eigenvectors, eigenvalues); }
};

constexpr int samplesToCountIn = 32;

inline std::unique_ptr<Scenario> counting(unsigned char smoothed) {
  return filling<Count>(support::threeTones(samplesToCountIn), [smoothed](const auto& x, Count& c) {
    c.numSignals = determineNumSignals(x, smoothed, c.eigenvectors, c.eigenvalues);
  });
}

}  // namespace refusal
