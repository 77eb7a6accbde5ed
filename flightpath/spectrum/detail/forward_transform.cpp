#include "flightpath/spectrum/detail/forward_transform.h"

#include <cstdint>
#include <new>

#include "flightpath/spectrum/detail/fftw_calls.h"

namespace flightpath {
namespace {

coder::internal::fft::fftw::PlanSpec planSpec(const std::vector<creal32_T>& in,
                                              const std::vector<creal32_T>& out) {
  coder::internal::fft::fftw::PlanSpec spec;
  spec.rank = 1;
  spec.howmanyRank = 1;
  spec.sign = fftw::forward;
  spec.flags = fftw::estimatePreservingInput;
  spec.inputAlignment = fftw::alignmentOf(in.data());
  spec.outputAlignment = fftw::alignmentOf(out.data());
  spec.dims.data[0] = {static_cast<std::int32_t>(in.size()), 1, 1};
  spec.howmanyDims.data[0] = {1, 1, 1};
  return spec;
}

}  // namespace

ForwardTransform::ForwardTransform(std::size_t n)
    : in_(n), out_(n), plan_(fftw::plan(planSpec(in_, out_), in_.data(), out_.data())) {
  if (plan_ == nullptr) {
    throw std::bad_alloc();
  }
}

ForwardTransform::~ForwardTransform() { fftw::destroy(plan_); }

void ForwardTransform::run() { fftw::execute(plan_, in_.data(), out_.data()); }

void ForwardTransform::addPowers(std::span<float> powers) const {
  for (std::size_t i = 0; i < powers.size(); ++i) {
    powers[i] += out_[i].re * out_[i].re + out_[i].im * out_[i].im;
  }
}

}  // namespace flightpath
