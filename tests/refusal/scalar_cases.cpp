#include "tests/refusal/failure_points.h"
#include "tests/support/builders.h"

// What is called inside loops, or where there is no memory left: it allocates nothing at all.

namespace refusal {
namespace {

using support::column;

struct Sorted {
  coder::array<int, 1> idx = column({1, 2, 3, 4});
  coder::array<float, 1> x = column({2.0F, 4.0F, 1.0F, 3.0F});
  coder::array<int, 1> iwork = column({0, 0, 0, 0});
  coder::array<float, 1> xwork = column({0.0F, 0.0F, 0.0F, 0.0F});

  auto parts() const { return std::tie(idx, x); }
};

Sorted descending() {
  Sorted s;
  s.x = column({4.0F, 2.0F, 3.0F, 1.0F});
  return s;
}

struct Found {
  int position = 0;
  int size[2] = {};

  auto parts() const { return std::tie(position, size[0], size[1]); }
};

const Case scalarCases[] = {
    {"rt constants",
     [] {
       return filling<float>(Nothing(), [](auto&, float& y) {
         y = rtGetInfF() + rtGetNaNF() + rtGetMinusInfF() +
             static_cast<float>(rtGetInf() + rtGetNaN() + rtGetMinusInf());
       });
     }},
    {"rt_powf_snf",
     [] { return filling<float>(2.5F, [](float x, float& y) { y = rt_powf_snf(x, x); }); }},
    {"b_log2",
     [] { return filling<float>(2.5F, [](float x, float& y) { y = coder::b_log2(x); }); }},
    {"b_exp",
     [] {
       return changing(Nothing(), support::matrix(1, 1, std::vector<creal32_T>{{0.5F, 1.0F}}),
                       [](auto&, auto& x) { coder::b_exp(x); });
     }},
    {"fftshift",
     [] {
       return changing(Nothing(), column({1.0F, 2.0F, 3.0F}),
                       [](auto&, auto& x) { coder::fftshift(x); });
     }},
    {"blockedSummation",
     [] {
       return filling<float>(column(std::vector<float>(3000, 0.1F)), [](const auto& x, float& y) {
         y = coder::blockedSummation(x, x.numel);
       });
     }},
    {"maximum",
     [] {
       return filling<std::tuple<float, int>>(
           column({1.0F, 3.0F, 2.0F}), [](const auto& x, auto& best) {
             std::get<0>(best) = coder::internal::maximum(x, std::get<1>(best));
           });
     }},
    {"minimum",
     [] {
       return filling<double>(column({3.0, 1.0, 2.0}),
                              [](const auto& x, double& y) { y = coder::internal::minimum(x); });
     }},
    {"eml_find",
     [] {
       return filling<Found>(
           support::row<unsigned char>({0, 0, 1, 1}),
           [](const auto& x, Found& f) { coder::eml_find(x, &f.position, f.size); });
     }},
    {"b_mergeRuns",
     [] {
       return changing(Nothing(), Sorted(), [](auto&, Sorted& s) {
         coder::internal::b_mergeRuns(s.idx, s.x, 0, 2, 2, s.iwork, s.xwork);
       });
     }},
    {"mergeRuns",
     [] {
       return changing(Nothing(), descending(), [](auto&, Sorted& s) {
         coder::internal::mergeRuns(s.idx, s.x, 0, 2, 2, s.iwork, s.xwork);
       });
     }},
    {"b_merge_block",
     [] {
       return changing(Nothing(), Sorted(), [](auto&, Sorted& s) {
         coder::internal::b_merge_block(s.idx, s.x, 0, 4, 1, s.iwork, s.xwork);
       });
     }},
    {"merge_block",
     [] {
       return changing(Nothing(), descending(), [](auto&, Sorted& s) {
         coder::internal::merge_block(s.idx, s.x, 0, 4, 1, s.iwork, s.xwork);
       });
     }},
    {"Ld",
     [] {
       return filling<float>(column({5.0F, 3.0F, 1.0F}), [](const auto& lambda, float& y) {
         y = coder::phased::internal::Ld(1.0, lambda, 3.0);
       });
     }},
    {"distance2NF of one distance",
     [] {
       return filling<float>(30.0F, [](float d, float& y) { y = distance2NF(d, 312500.0F); });
     }},
    {"estimator object",
     [] {
       return filling<bool>(Nothing(), [](auto&, bool& reached) {
         MUSICLib estimator;
         reached = *estimator.getStackData() != nullptr;
       });
     }},
    {"planning lock",
     [] {
       return filling<int>(Nothing(), [](auto&, int& sum) {
         sum = initFFTPlanningProcessLock() + lockFFTPlanningProcess() + unlockFFTPlanningProcess();
       });
     }},
    {"plan lookup",
     [] {
       const coder::array<creal32_T, 2> x = support::matrix(8, 1, std::vector<creal32_T>(8));
       return filling<WithEstimator<int>>(std::tuple(x, x), [](const auto& x, auto& e) {
         using coder::internal::fft::fftw::PlanCacheTraits;
         constexpr unsigned estimatePreservingInput = 64U | 16U;
         const fftwf_plan plan = PlanCacheTraits::getCachedPlan(
             &e.estimator, 8, -1, estimatePreservingInput, std::get<0>(x), std::get<1>(x));
         e.result = plan != nullptr ? 1 : 0;
       });
     }},
};

INSTANTIATE_TEST_SUITE_P(Scalar, NotAllocating, testing::ValuesIn(scalarCases), testName);

}  // namespace
}  // namespace refusal
