#include "flightpath/spectrum/detail/double_transform.h"

#include <cstddef>
#include <new>

namespace flightpath {

DoubleTransform::DoubleTransform(int n)
    : values_(static_cast<std::size_t>(n)), spectrum_(values_.size()) {
  forward_ = fftw::planDouble(n, values_.data(), spectrum_.data(), fftw::forward);
  backward_ = fftw::planDouble(n, spectrum_.data(), values_.data(), fftw::backward);
  if (forward_ == nullptr || backward_ == nullptr) {
    destroyPlans();
    throw std::bad_alloc();
  }
}

DoubleTransform::~DoubleTransform() { destroyPlans(); }

void DoubleTransform::destroyPlans() {
  fftw::destroy(forward_);
  fftw::destroy(backward_);
}

int fastTransformLength(int least) {
  for (int n = least;; ++n) {
    int rest = n;
    for (const int prime : {2, 3, 5, 7}) {
      while (rest % prime == 0) {
        rest /= prime;
      }
    }
    if (rest == 1) {
      return n;
    }
  }
}

}  // namespace flightpath
