#pragma once

#include <dlfcn.h>
#include <fftw3.h>

#include <atomic>
#include <cstddef>
#include <stdexcept>
#include <thread>
#include <vector>

#include "flightpath/spectrum/planning_lock.h"
#include "tests/threads/answer_bits.h"

/// What a program beside the library does with FFTW of its own: plans, transforms and destroys, the
/// planner's calls under the library's lock.
namespace support {

class HeldPlanningLock {
 public:
  HeldPlanningLock() { lockFFTPlanningProcess(); }
  ~HeldPlanningLock() { unlockFFTPlanningProcess(); }
  HeldPlanningLock(const HeldPlanningLock&) = delete;
  HeldPlanningLock& operator=(const HeldPlanningLock&) = delete;
};

/// FFTW in one precision.
template <class Complex, class Plan>
struct HostFFTW {
  Plan (*plan)(int, Complex*, Complex*, int, unsigned);
  void (*execute)(Plan);
  void (*destroy)(Plan);

  /// The forward transform of n samples, planned for this once.
  Bits transform(int n) const {
    using Real = std::remove_extent_t<Complex>;
    const auto count = 2 * static_cast<std::size_t>(n);
    std::vector<Real> in(count);
    std::vector<Real> out(count);
    for (std::size_t k = 0; k < count; ++k) {
      in[k] = static_cast<Real>((k * k) % 17) - 8;
    }
    const auto native = [](std::vector<Real>& data) {
      return reinterpret_cast<Complex*>(data.data());
    };
    Plan made = nullptr;
    {
      const HeldPlanningLock lock;
      made = plan(n, native(in), native(out), FFTW_FORWARD, FFTW_ESTIMATE | FFTW_PRESERVE_INPUT);
    }
    execute(made);
    {
      const HeldPlanningLock lock;
      destroy(made);
    }
    return bitsOf(out);
  }
};

inline HostFFTW<fftwf_complex, fftwf_plan> singleFFTW() {
  return {fftwf_plan_dft_1d, fftwf_execute, fftwf_destroy_plan};
}

/// The double-precision library, which flightpath itself does without: null functions where this
/// machine lacks it.
inline HostFFTW<fftw_complex, fftw_plan> doubleFFTW() {
  void* const library = dlopen("libfftw3.so.3", RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    return {};
  }
  return {reinterpret_cast<decltype(fftw_plan_dft_1d)*>(dlsym(library, "fftw_plan_dft_1d")),
          reinterpret_cast<decltype(fftw_execute)*>(dlsym(library, "fftw_execute")),
          reinterpret_cast<decltype(fftw_destroy_plan)*>(dlsym(library, "fftw_destroy_plan"))};
}

/// A thread that transforms in both precisions from construction to `finish`, and holds every result
/// to the one that the same call gave before any thread was there.
class TransformingHost {
 public:
  TransformingHost() {
    for (const int n : {16, 60, 97, 480, 1110, 3420, 7260}) {
      expected_.push_back({n, transform(n)});
    }
    thread_ = std::thread([this] { work(); });
  }
  ~TransformingHost() { finish(); }
  TransformingHost(const TransformingHost&) = delete;
  TransformingHost& operator=(const TransformingHost&) = delete;

  void finish() {
    ending_ = true;
    if (thread_.joinable()) {
      thread_.join();
    }
  }

  int transforms() const { return transforms_; }
  int wrong() const { return wrong_; }

 private:
  struct Expected {
    int n;
    Bits bits;
  };

  Bits transform(int n) const {
    Bits bits = single_.transform(n);
    if (double_.plan != nullptr) {
      const Bits more = double_.transform(n);
      bits.insert(bits.end(), more.begin(), more.end());
    }
    return bits;
  }

  void work() {
    while (!ending_) {
      for (const Expected& expected : expected_) {
        wrong_ += transform(expected.n) == expected.bits ? 0 : 1;
        ++transforms_;
      }
    }
  }

  HostFFTW<fftwf_complex, fftwf_plan> single_ = singleFFTW();
  HostFFTW<fftw_complex, fftw_plan> double_ = doubleFFTW();
  std::vector<Expected> expected_;
  std::atomic<bool> ending_ = false;
  std::atomic<int> transforms_ = 0;
  std::atomic<int> wrong_ = 0;
  std::thread thread_;
};

}  // namespace support
