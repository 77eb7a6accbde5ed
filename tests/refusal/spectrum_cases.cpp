#include <limits>

#include "tests/refusal/failure_points.h"
#include "tests/support/builders.h"
#include "tests/support/channels.h"
#include "tests/support/dft_model.h"

namespace refusal {
namespace {

using Column = coder::array<float, 1>;
using ComplexColumn = coder::array<creal32_T, 1>;
using ComplexMatrix = coder::array<creal32_T, 2>;

ComplexColumn taps(std::size_t count) { return support::column(support::randomTaps(count, 5)); }

ComplexMatrix subspace(int M, int K) {
  return support::matrix(
      M, K,
      support::orthonormalColumns(static_cast<std::size_t>(M), static_cast<std::size_t>(K), 6));
}

coder::array<float, 2> frequencyRow() { return support::evenGrid(-0.5F, 0.01F, 50); }

Column frequencyColumn() { return support::column(support::toVector(frequencyRow())); }

using Response = WithEstimator<ComplexColumn>;

std::unique_ptr<Scenario> responding(std::size_t numTaps, double n) {
  return filling<Response>(taps(numTaps), [n](const ComplexColumn& b, Response& r) {
    coder::firfreqz(&r.estimator, b, n, r.result);
  });
}

struct Search {
  MUSICLib estimator;
  ComplexMatrix U = subspace(24, 3);
  Column spectrum;
  Column freqs;
  ComplexMatrix energies;

  auto parts() const { return std::tie(U, spectrum, freqs, energies); }
};

const Case spectrumCases[] = {
    {"firfreqz of as many taps as points", [] { return responding(64, 64.0); }},
    {"firfreqz of fewer taps", [] { return responding(20, 64.0); }},
    {"firfreqz of more taps", [] { return responding(150, 64.0); }},
    {"firfreqz of too many points", [] { return responding(8, 1e20); }, Outcome::LengthError},
    {"firfreqz of more lengths than the cache holds",
     [] {
       return filling<Response>(taps(20), [](const ComplexColumn& b, Response& r) {
         for (int n = 24; n < 36; ++n) {
           coder::firfreqz(&r.estimator, b, n, r.result);
         }
       });
     }},
    {"evaluatePseudoSpectrumFFT",
     [] {
       return filling<Search>(Nothing(), [](auto&, Search& s) {
         evaluatePseudoSpectrumFFT(&s.estimator, s.U, s.spectrum, s.freqs, s.energies, 256.0F);
       });
     }},
    {"evaluatePseudoSpectrumFFT of too many points",
     [] {
       return filling<Search>(Nothing(), [](auto&, Search& s) {
         evaluatePseudoSpectrumFFT(&s.estimator, s.U, s.spectrum, s.freqs, s.energies, 1e9F);
       });
     },
     Outcome::LengthError, true},
    {"makeUniformSteeringVectors at a row",
     [] {
       return filling<ComplexMatrix>(frequencyRow(), [](const auto& f, ComplexMatrix& A) {
         makeUniformSteeringVectors(24.0, f, A);
       });
     }},
    {"makeUniformSteeringVectors at a column",
     [] {
       return filling<ComplexMatrix>(frequencyColumn(), [](const auto& f, ComplexMatrix& A) {
         makeUniformSteeringVectors(24.0, f, A);
       });
     }},
    {"makeUniformSteeringVectors of too many elements",
     [] {
       return filling<ComplexMatrix>(frequencyRow(), [](const auto& f, ComplexMatrix& A) {
         makeUniformSteeringVectors(1e20, f, A);
       });
     },
     Outcome::LengthError},
    {"evaluatePseudoSpectrum at a row",
     [] {
       return filling<Column>(std::tuple(subspace(24, 20), frequencyRow()),
                              [](const auto& in, Column& spectrum) {
                                evaluatePseudoSpectrum(std::get<0>(in), std::get<1>(in), spectrum);
                              });
     }},
    {"evaluatePseudoSpectrum at a column",
     [] {
       return filling<Column>(std::tuple(subspace(24, 20), frequencyColumn()),
                              [](const auto& in, Column& spectrum) {
                                evaluatePseudoSpectrum(std::get<0>(in), std::get<1>(in), spectrum);
                              });
     }},
};

INSTANTIATE_TEST_SUITE_P(Spectrum, Allocating, testing::ValuesIn(spectrumCases), testName);

}  // namespace
}  // namespace refusal
