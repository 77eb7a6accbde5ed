// Makes estimates of mixed kinds and sizes and fails where the memory of the process grows:
//
//   endurance COUNT          at least 1000
//   endurance COUNT --leak   loses 16 bytes an estimate on purpose: must fail
//
// The first fifth of the estimates is the warm-up: the allocator and the foreign libraries take their
// buffers, and the largest size has been there. From then on the memory is sampled 400 times.

#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "tests/endurance/memory_curve.h"
#include "tests/endurance/mixed_estimates.h"

namespace {

/// What the lines may gain over the whole run, whatever its length. Free memory that the allocator
/// keeps comes and goes by hundreds of KiB; what is allocated varies with the estimates under way.
constexpr double mostResidentGrowth_bytes = 1024.0 * 1024.0;
constexpr double mostAllocatedGrowth_bytes = 64.0 * 1024.0;

constexpr long samples = 400;

void lose16Bytes() {
  // Through a volatile, so that no compiler sees that nobody wants them.
  [[maybe_unused]] static void* volatile lost;
  lost = std::malloc(16);
}

struct Curves {
  MemoryCurve resident{samples + 1};
  MemoryCurve allocated{samples + 1};
};

/// Makes the estimates and samples the memory.
void run(long count, bool leaking, Curves& curves) {
  MixedEstimates estimates;
  const long warmUp = count / 5;
  long nextSample = warmUp;
  for (long made = 0; made < count;) {
    const int step = estimates.next();
    for (int k = 0; leaking && k < step; ++k) {
      lose16Bytes();
    }
    made += step;
    if (made >= nextSample) {
      curves.resident.add(static_cast<double>(made), residentBytes());
      curves.allocated.add(static_cast<double>(made), allocatedBytes());
      nextSample += (count - warmUp) / samples;
    }
  }
}

bool report(const char* name, const MemoryCurve& curve, double mostGrowth_bytes) {
  const bool flat = curve.growth() <= mostGrowth_bytes;
  std::printf(
      "%s: %.3f MB after the warm-up, %.3f MB at the end; slope %.1f bytes per 1000 estimates, "
      "growth %.1f KiB (at most %.0f)%s\n",
      name, curve.first() * 1e-6, curve.last() * 1e-6, 1000.0 * curve.slope(),
      curve.growth() / 1024.0, mostGrowth_bytes / 1024.0, flat ? "" : ": NOT FLAT");
  return flat;
}

long parseCount(const char* text) {
  long count = 0;
  const char* const end = text + std::strlen(text);
  const auto [stop, error] = std::from_chars(text, end, count);
  return error == std::errc() && stop == end ? count : 0;
}

bool staysFlat(long count, bool leaking) {
  Curves curves;
  const auto start = std::chrono::steady_clock::now();
  run(count, leaking, curves);
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
  std::printf("%ld estimates in %.1f s, %.0f a second\n", count, taken.count(),
              static_cast<double>(count) / taken.count());
  const bool residentIsFlat = report("resident memory", curves.resident, mostResidentGrowth_bytes);
  return report("allocated memory", curves.allocated, mostAllocatedGrowth_bytes) && residentIsFlat;
}

}  // namespace

int main(int argc, char** argv) {
  const bool leaking = argc == 3 && std::strcmp(argv[2], "--leak") == 0;
  const long count = argc == 2 || leaking ? parseCount(argv[1]) : 0;
  if (count < 1000) {
    std::fputs("usage: endurance COUNT [--leak], COUNT at least 1000\n", stderr);
    return 2;
  }
  try {
    return staysFlat(count, leaking) ? 0 : 1;
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "endurance: %s\n", exception.what());
    return 2;
  }
}
