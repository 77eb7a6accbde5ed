// A host that plans and runs FFTW transforms of its own in some threads while the library estimates
// in others. What each gives stays what it gives alone, bit for bit.
//
// HOST_SHARES_FFTW says whether host and library use one copy of FFTW: then the host plans under
// the library's lock. Otherwise two copies run side by side, each planner with a lock of its own.

#include <dlfcn.h>
#include <fftw3.h>
#include <flightpath/flightpath.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "../support/dft_model.h"
#include "estimates.h"

namespace {

constexpr bool sharesFFTW = HOST_SHARES_FFTW;

struct LibraryLock {
  void lock() { lockFFTPlanningProcess(); }
  void unlock() { unlockFFTPlanningProcess(); }
};

std::conditional_t<sharesFFTW, LibraryLock, std::mutex> planningLock;

[[noreturn]] void fail(const std::string& what) {
  std::fprintf(stderr, "beside_fftw: %s\n", what.c_str());
  std::exit(1);
}

struct FreeFFTW {
  void operator()(fftwf_complex* data) const { fftwf_free(data); }
};
using Buffer = std::unique_ptr<fftwf_complex[], FreeFFTW>;

Buffer allocate(std::size_t n) { return Buffer(fftwf_alloc_complex(n)); }

fftwf_plan makePlan(std::size_t n, const Buffer& in, const Buffer& out, unsigned flags) {
  const std::lock_guard guard(planningLock);
  return fftwf_plan_dft_1d(static_cast<int>(n), in.get(), out.get(), FFTW_FORWARD, flags);
}

void destroy(fftwf_plan plan) {
  const std::lock_guard guard(planningLock);
  fftwf_destroy_plan(plan);
}

using Spectrum = std::vector<creal32_T>;

/// The spectrum of random values, planned, run and cleared away.
Spectrum transform(const std::vector<creal32_T>& values) {
  const std::size_t n = values.size();
  const Buffer in = allocate(n);
  const Buffer out = allocate(n);
  const fftwf_plan plan = makePlan(n, in, out, FFTW_ESTIMATE);
  for (std::size_t k = 0; k < n; ++k) {
    in[k][0] = values[k].re;
    in[k][1] = values[k].im;
  }
  fftwf_execute(plan);
  Spectrum spectrum(n);
  for (std::size_t k = 0; k < n; ++k) {
    spectrum[k] = {out[k][0], out[k][1]};
  }
  destroy(plan);
  return spectrum;
}

/// BOUND: the FFT bound of the model, per value.
bool isRight(const Spectrum& spectrum, const std::vector<creal32_T>& values) {
  const std::vector<support::Complex> model = support::dft(values, values.size());
  const double bound = support::fftBound(values, values.size());
  for (std::size_t k = 0; k < values.size(); ++k) {
    if (!(std::abs(support::toDouble(spectrum[k]) - model[k]) <= bound)) {
      return false;
    }
  }
  return true;
}

bool sameBits(const Spectrum& a, const Spectrum& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(a[0])) == 0;
}

/// What the host transforms, and what comes out when nobody else is running.
struct HostWork {
  std::vector<creal32_T> values;
  Spectrum alone;
};

std::vector<HostWork> hostWorkAlone() {
  std::vector<HostWork> work;
  for (const std::size_t n : {30, 64, 127, 1000, 1680, 1920}) {
    const std::vector<creal32_T> values = support::randomTaps(n, 3);
    work.push_back({values, transform(values)});
    if (!isRight(work.back().alone, values)) {
      fail("the host's own transform of length " + std::to_string(n) + " is wrong");
    }
  }
  return work;
}

/// What the library finds, and a transform of its own, whose bits tell which algorithm FFTW took.
struct LibraryWork {
  std::vector<double> distances;
  Spectrum response;
};

LibraryWork libraryWork() {
  coder::array<creal32_T, 1> taps;
  taps.set_size(64);
  std::ranges::copy(support::randomTaps(64, 4), taps.begin());
  coder::array<creal32_T, 1> response;
  MUSICLib estimator;
  coder::firfreqz(&estimator, taps, 1920.0, response);
  return {estimatedDistances(1), Spectrum(response.begin(), response.end())};
}

bool sameBits(const LibraryWork& a, const LibraryWork& b) {
  return a.distances == b.distances && sameBits(a.response, b.response);  // no distance is NaN
}

const char* fileOf(void* address) {
  Dl_info info = {};
  return dladdr(address, &info) != 0 ? info.dli_fname : "?";
}

/// The library's calls are resolved in the global scope, as dlsym does it here; the host's own are
/// resolved when it is linked.
void expectCopies() {
  void* const ours = reinterpret_cast<void*>(&fftwf_execute_dft);
  void* const theirs = dlsym(RTLD_DEFAULT, "fftwf_execute_dft");
  std::printf("   host calls FFTW in %s\n   library calls FFTW in %s\n", fileOf(ours),
              fileOf(theirs));
  if ((ours == theirs) != sharesFFTW) {
    fail(sharesFFTW ? "meant to share one FFTW" : "meant to have two FFTWs");
  }
}

/// What a host may do to a copy of its own only: measured wisdom changes which algorithm the planner
/// takes from then on, and cleaning up takes back all that it holds.
void useOwnCopyFreely() {
  for (const std::size_t n : {64, 1680, 1920}) {
    const Buffer in = allocate(n);
    const Buffer out = allocate(n);
    destroy(makePlan(n, in, out, FFTW_MEASURE | FFTW_PRESERVE_INPUT));
  }
}

}  // namespace

int main() {
  constexpr int rounds = 50;
  constexpr int threadsEach = 3;
  expectCopies();

  const LibraryWork libraryAlone = libraryWork();
  if (!areRight(libraryAlone.distances)) {
    fail("the library's distances are wrong");
  }
  const std::vector<HostWork> hostWork = hostWorkAlone();

  std::atomic<int> compared = 0;
  std::atomic<int> different = 0;
  const auto note = [&](bool same) {
    ++compared;
    different += same ? 0 : 1;
  };
  const auto host = [&] {
    for (int k = 0; k < rounds; ++k) {
      for (const HostWork& work : hostWork) {
        note(sameBits(transform(work.values), work.alone));
      }
    }
  };
  const auto library = [&] {
    for (int k = 0; k < rounds; ++k) {
      note(sameBits(libraryWork(), libraryAlone));
    }
  };
  {
    std::vector<std::jthread> threads;
    for (int k = 0; k < threadsEach; ++k) {
      threads.emplace_back(host);
      threads.emplace_back(library);
    }
  }
  if (!sharesFFTW) {
    useOwnCopyFreely();
    note(sameBits(libraryWork(), libraryAlone));
    fftwf_cleanup();
    note(sameBits(libraryWork(), libraryAlone));
  }
  if (different != 0) {
    fail(std::to_string(different) + " of " + std::to_string(compared) + " results differ");
  }
  std::printf("-- shared object: %d results beside %s FFTW as alone, bit for bit\n",
              compared.load(), sharesFFTW ? "a shared" : "the host's own");
  return 0;
}
