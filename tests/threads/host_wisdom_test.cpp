// FFTW keeps what it has measured, for the whole process: a host that measures a transform of the
// library's lengths changes which of FFTW's algorithms the library gets, and so the last bits.

#include <fftw3.h>
#include <gtest/gtest.h>

#include <span>
#include <vector>

#include "flightpath/spectrum/estimator.h"
#include "flightpath/spectrum/fir_response.h"
#include "tests/support/builders.h"
#include "tests/support/dft_model.h"
#include "tests/threads/answer_bits.h"
#include "tests/threads/host_transforms.h"

namespace {

constexpr int n = 480;

coder::array<creal32_T, 1> response(const std::vector<creal32_T>& taps) {
  MUSICLib estimator;
  coder::array<creal32_T, 1> h;
  coder::firfreqz(&estimator, support::column(taps), n, h);
  return h;
}

void measure() {
  std::vector<creal32_T> in(n);
  std::vector<creal32_T> out(n);
  const support::HeldPlanningLock lock;
  fftwf_destroy_plan(fftwf_plan_dft_1d(n, reinterpret_cast<fftwf_complex*>(in.data()),
                                       reinterpret_cast<fftwf_complex*>(out.data()), FFTW_FORWARD,
                                       FFTW_MEASURE | FFTW_PRESERVE_INPUT));
}

void forget() {
  const support::HeldPlanningLock lock;
  fftwf_forget_wisdom();
}

void expectWithinTheBound(const coder::array<creal32_T, 1>& h, const std::vector<creal32_T>& taps) {
  const std::vector<support::Complex> model = support::dft(taps, n);
  const double bound = support::fftBound(taps, n);
  ASSERT_EQ(h.numel, n);
  for (int k = 0; k < n; ++k) {
    EXPECT_LE(std::abs(support::toDouble(h[k]) - model[static_cast<std::size_t>(k)]), bound) << k;
  }
}

}  // namespace

// BOUND: the FFT bound of the model, per value.
TEST(HostWisdom, LeavesResponsesWithinTheBoundOfTheTransform) {
  const std::vector<creal32_T> taps = support::randomTaps(100, 5);
  expectWithinTheBound(response(taps), taps);
  measure();
  expectWithinTheBound(response(taps), taps);
  forget();
}

// EXACT: the transform that the first answers came from.
TEST(HostWisdom, ForgottenGivesTheEarlierBitsBack) {
  const std::vector<creal32_T> taps = support::randomTaps(100, 5);
  const support::Bits before = support::bitsOf(response(taps));
  measure();
  forget();
  EXPECT_TRUE(support::bitsOf(response(taps)) == before);
}
