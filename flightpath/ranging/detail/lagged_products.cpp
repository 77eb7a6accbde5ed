#include "flightpath/ranging/detail/lagged_products.h"

namespace flightpath {
namespace {

// The sums overlap no sample, or the compiler would have to check ten pointers against each other and
// would not make vector code.
[[gnu::always_inline]] inline void addProducts(SampleParts a, SampleParts b, std::size_t offset,
                                               std::size_t n, double* __restrict outRe,
                                               double* __restrict outIm) {
  const double* const ar = a.re;
  const double* const ai = a.im;
  const double* const br = b.re;
  const double* const bi = b.im;
  for (std::size_t i = 0; i < n; ++i) {
    const std::size_t j = i + offset;
    outRe[i] += (ar[i] * ar[j] + ai[i] * ai[j]) + (br[i] * br[j] + bi[i] * bi[j]);
    outIm[i] += (ai[i] * ar[j] - ar[i] * ai[j]) + (bi[i] * br[j] - br[i] * bi[j]);
  }
}

#if defined(__x86_64__)
[[gnu::target("avx2")]] void addLaggedProductsAVX2(SampleParts a, SampleParts b, std::size_t offset,
                                                   std::size_t n, double* outRe, double* outIm) {
  addProducts(a, b, offset, n, outRe, outIm);
}
#endif

}  // namespace

void addLaggedProducts(SampleParts a, SampleParts b, std::size_t offset, std::size_t n,
                       double* outRe, double* outIm) {
  addProducts(a, b, offset, n, outRe, outIm);
}

LaggedProducts fastestLaggedProducts() {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx2")) {
    return addLaggedProductsAVX2;
  }
#endif
  return addLaggedProducts;
}

}  // namespace flightpath
