#include "bench/floor.h"

#include <lapacke.h>
#include <math.h>

#include <algorithm>

#include "bench/measurement.h"
#include "flightpath/music/detail/covariance.h"
#include "flightpath/music/detail/criterion.h"
#include "flightpath/music/detail/subspaces.h"
#include "flightpath/rules/search_grids.h"
#include "flightpath/runtime/detail/view.h"
#include "flightpath/spectrum/detail/fftw_calls.h"
#include "flightpath/toolbox/detail/blas.h"

namespace bench {

using flightpath::blas::Transpose;

Floor::Floor(const coder::array<creal32_T, 1>& x) : x_(x) {
  flightpath::sampleCovariance(x_, true, hermitian_);
  solved_ = hermitian_;
  const int L = hermitian_.size[0];
  product_.set_size(L, L);
  hankel_.set_size(L, x_.numel - L + 1);
  for (int j = 0; j < hankel_.size[1]; ++j) {
    std::copy_n(x_.data + j, L, flightpath::column(hankel_, j).begin());
  }
  coder::array<creal32_T, 2> eigenvectors;
  coder::array<float, 1> eigenvalues;
  numSignals_ = static_cast<int>(determineNumSignals(x_, 1, eigenvectors, eigenvalues));
  eigenvalues_.set_size(L);
  prepareCount(eigenvalues);
  if (numSignals_ != 1) {
    const ToFEstimationParameters parameters = defaults(x_.numel);
    ToFResult result;
    plans_.MUSICToF(x_, &parameters, &result);
    flightpath::noiseSubspace(eigenvectors, result.NumSignals, noise_);
    prepareCoarse(eigenvectors);
    prepareFine(result);
  }
}

void Floor::prepareCount(const coder::array<float, 1>& eigenvalues) {
  const int m = eigenvalues.numel;
  // The exponents 1 and 1/2 of the last two candidates take no powf.
  for (int k = 0; k < m - 2; ++k) {
    for (int i = k; i < m; ++i) {
      rootedValues_.push_back(eigenvalues[i]);
      roots_.push_back(static_cast<float>(1.0 / (m - k)));
    }
  }
}

void Floor::prepareCoarse(coder::array<creal32_T, 2> eigenvectors) {
  const float length = flightpath::coarseFFTLength(1.0F / (30.0F * static_cast<float>(x_.numel)));
  const int n = static_cast<int>(length);
  taps_.set_size(n);
  response_.set_size(n);
  flightpath::keepSignalSubspace(eigenvectors, static_cast<float>(numSignals_));
  std::copy_n(eigenvectors.data, eigenvectors.size[0], taps_.data);
  decibels_.assign(static_cast<std::size_t>(n), 2.0F);
}

void Floor::prepareFine(const ToFResult& result) {
  constexpr float twoPi = 6.2831855F;
  const int M = noise_.size[0];
  numPeaks_ = result.Distances.size[1];
  const int numPoints = numPeaks_ == 0 ? 0 : result.ScannedDistances.numel / numPeaks_;
  steering_.set_size(M, numPoints);
  projection_.set_size(numPoints, noise_.size[1]);
  coder::array<float, 2> freqs;
  distance2NF(result.ScannedDistances, static_cast<float>(spacing_Hz), freqs);
  for (const float f : freqs) {
    for (int k = 0; k < M; ++k) {
      exponents_.push_back(twoPi * static_cast<float>(k) * f);
    }
  }
}

void Floor::run() {
  const int L = hermitian_.size[0];
  flightpath::blas::multiply(L, L, hankel_.size[1], {hankel_.data, L, Transpose::None},
                             {hankel_.data, L, Transpose::Conjugate}, product_.data);
  solved_ = hermitian_;  // the solver works in place
  LAPACKE_cheev(LAPACK_COL_MAJOR, 'V', 'L', L,
                reinterpret_cast<lapack_complex_float*>(solved_.data), L, eigenvalues_.data);
  runCount();
  if (numSignals_ == 1) {
    runPhaseSlope();
  } else {
    runCoarse();
    runFine();
  }
}

void Floor::runCount() {
  float product = 1.0F;
  for (std::size_t i = 0; i < roots_.size(); ++i) {
    product *= ::powf(rootedValues_[i], roots_[i]);
  }
  volatile float used = product;
  (void)used;
}

void Floor::runCoarse() {
  const auto view = [](const coder::array<creal32_T, 1>& a) { return flightpath::asMatrix(a); };
  for (int k = 0; k < numSignals_; ++k) {
    const fftwf_plan plan = coder::internal::fft::fftw::PlanCacheTraits::getCachedPlan(
        &plans_, taps_.numel, flightpath::fftw::forward, flightpath::fftw::estimatePreservingInput,
        view(taps_), view(response_));
    flightpath::fftw::execute(plan, taps_.data, response_.data);
  }
  for (float& value : decibels_) {
    value = ::log10f(value) + 2.0F;
  }
}

void Floor::runFine() {
  const int M = noise_.size[0];
  const int numPoints = steering_.size[1];
  std::size_t next = 0;
  for (int peak = 0; peak < numPeaks_; ++peak) {
    for (creal32_T& z : steering_) {
      ::sincosf(exponents_[next++], &z.im, &z.re);
    }
    flightpath::blas::multiply(numPoints, noise_.size[1], M,
                               {steering_.data, M, Transpose::Conjugate},
                               {noise_.data, M, Transpose::None}, projection_.data);
    for (int i = 0; i < numPoints; ++i) {
      decibels_[static_cast<std::size_t>(i)] = ::log10f(projection_[i].re + 2.0F) + 2.0F;
    }
  }
}

void Floor::runPhaseSlope() {
  float sum = 0.0F;
  for (int k = 1; k < x_.numel; ++k) {
    sum += ::atan2f(x_[k].im, x_[k].re);
  }
  volatile float used = sum;
  (void)used;
}

}  // namespace bench
