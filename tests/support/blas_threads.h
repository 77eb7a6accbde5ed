#pragma once

#include <cblas.h>

namespace support {

/// While one lives, BLAS has this count of threads, as a host would set it.
class BlasThreads {
 public:
  explicit BlasThreads(int count) : before_(openblas_get_num_threads()) {
    openblas_set_num_threads(count);
  }
  ~BlasThreads() { openblas_set_num_threads(before_); }
  BlasThreads(const BlasThreads&) = delete;
  BlasThreads& operator=(const BlasThreads&) = delete;

 private:
  int before_;
};

}  // namespace support
