#include "tests/refusal/failure_points.h"
#include "tests/refusal/matrices.h"
#include "tests/support/channels.h"

namespace refusal {
namespace {

using ComplexColumn = coder::array<creal32_T, 1>;

const Case musicCases[] = {
    {"measurementSmoothing",
     [] {
       return filling<ComplexMatrix>(
           support::threeTones(32),
           [](const ComplexColumn& x, ComplexMatrix& R) { measurementSmoothing(x, R); });
     }},
    {"xsyheev",
     [] {
       return changing(Nothing(), HermitianSolve{hermitian(), {}, 0},
                       [](auto&, HermitianSolve& s) { s.solve(); });
     },
     Outcome::Succeeded, true},
    {"xsyheev of a matrix that is not square",
     [] {
       return changing(Nothing(), HermitianSolve{notSquare(), {}, 0},
                       [](auto&, HermitianSolve& s) { s.solve(); });
     },
     Outcome::Succeeded, true},
    {"eig of a Hermitian matrix", [] { return decomposing(hermitian()); }},
    {"eig of a skew-Hermitian matrix", [] { return decomposing(skewHermitian()); }},
    {"eig of a general matrix", [] { return decomposing(general()); }},
    {"eig of a matrix with a NaN", [] { return decomposing(withNaN()); }},
    {"eig of a matrix that is not square", [] { return decomposing(notSquare()); }},
    {"determineNumSignals with smoothing", [] { return counting(1); }},
    {"determineNumSignals without smoothing", [] { return counting(0); }},
};

INSTANTIATE_TEST_SUITE_P(Music, Allocating, testing::ValuesIn(musicCases), testName);

}  // namespace
}  // namespace refusal
