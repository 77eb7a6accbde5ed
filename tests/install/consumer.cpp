// Uses the installed library as a caller would: finds a path, and takes the address of every other
// function, so that one that does not resolve fails the link.

#include <flightpath/flightpath.h>

#include <cmath>
#include <complex>
#include <cstdio>
#include <sstream>
#include <vector>

namespace {

/// A caller's richer record derives from the library's.
struct ReceiverRecord : CSI {
  int antenna = 0;
};

constexpr double trueDistance_m = 30.0;

/// One path, so the phase slope alone decides: k * 2 pi spacing distance / c.
std::vector<creal32_T> onePath(int numSubcarriers, double spacing_Hz) {
  std::vector<creal32_T> samples;
  for (int k = 0; k < numSubcarriers; ++k) {
    const auto h =
        std::polar(1.0, -6.283185307179586 * k * spacing_Hz * trueDistance_m / 299792458.0);
    samples.push_back({static_cast<float>(h.real()), static_cast<float>(h.imag())});
  }
  return samples;
}

bool findsThePath() {
  const std::vector<creal32_T> samples = onePath(64, 312500.0);
  ReceiverRecord record;
  record.SubcarrierSpacing = 312500;
  record.NumSubcarriers = 64;
  record.Samples = samples.data();
  const ToFEstimate paths = MUSIC::estimateToF(record, 1);
  return paths.Distances.size() == 1 && std::fabs(paths.Distances[0] - trueDistance_m) < 1e-3;
}

bool rangesABatch() {
  std::vector<creal32_T> rows = onePath(64, 312500.0);
  const std::vector<creal32_T> again = rows;
  rows.insert(rows.end(), again.begin(), again.end());
  flightpath::RangingOptions options;
  options.SubcarrierSpacing = 312500.0;
  options.Threads = 2;
  flightpath::Ranger ranger(64, options);
  const flightpath::PathSet found = ranger.estimate({rows, 64});
  return found.size() == 2 && found[0].size() == 1 && found[1].size() == 1 &&
         found[1].info().Quality == flightpath::Quality::Good &&
         std::fabs(found[1][0].Distance_m - trueDistance_m) < 1e-3;
}

/// 56 tones of a row of 64: the receiver leaves out the middle and the guards.
bool rangesThroughGaps() {
  const std::vector<creal32_T> all = onePath(64, 312500.0);
  flightpath::RangingOptions options;
  options.SubcarrierSpacing = 312500.0;
  options.Tones = flightpath::tonesOf(flightpath::TonePreset::HT20);
  std::vector<creal32_T> row;
  for (const int tone : options.Tones) {
    row.push_back(all[static_cast<std::size_t>(tone + 32)]);
  }
  const flightpath::PathSet found = flightpath::Ranger(56, options).estimate(row);
  return found[0].size() == 1 && std::fabs(found[0][0].Distance_m - trueDistance_m) < 1e-3 &&
         found[0][0].Deviation_m < 1e-3;
}

/// Both devices measured the same channel; the product has its delays twice, which are halved again.
bool rangesBothWays() {
  const std::vector<creal32_T> oneSide = onePath(64, 312500.0);
  flightpath::RangingOptions options;
  options.SubcarrierSpacing = 312500.0;
  options.RoundTrip = true;
  const auto products = flightpath::combineTwoWay(oneSide, oneSide);
  std::vector<std::complex<double>> again;
  flightpath::combineTwoWay(oneSide, oneSide, again);
  const flightpath::PathSet found = flightpath::Ranger(64, options).estimate(products);
  return again == products && found[0].size() == 1 &&
         std::fabs(found[0][0].Distance_m - trueDistance_m) < 1e-3;
}

/// A receiver that delays everything by 20 m is told so by a cable of 10 m, kept in a text meanwhile.
bool rangesWithACalibration() {
  using flightpath::Calibration;
  const std::vector<creal32_T> reference = onePath(64, 312500.0);
  std::stringstream text;
  Calibration::measure(reference, 312500.0, 10.0).save(text);
  flightpath::RangingOptions options;
  options.SubcarrierSpacing = 312500.0;
  options.Calibration = Calibration::load(text);
  const Calibration& calibration = options.Calibration;
  const flightpath::PathSet found = flightpath::Ranger(64, options).estimate(reference);
  return found[0].size() == 1 && std::fabs(found[0][0].Distance_m - 10.0) < 1e-3 &&
         std::fabs(calibration.delay_s() * 299792458.0 - 20.0) < 1e-3 &&
         calibration.tones().size() == calibration.numSubcarriers();
}

template <class Function>
bool resolves(Function function) {
  // Volatile: the comparison has to look at the address that the linker filled in.
  volatile Function address = function;
  return address != nullptr;
}

using FloatColumn = coder::array<float, 1>;
using DoubleColumn = coder::array<double, 1>;
using FloatRow = coder::array<float, 2>;
using DoubleRow = coder::array<double, 2>;
using Steering = coder::array<creal32_T, 2>;

bool overloadsResolve() {
  using coder::internal::sort;
  return resolves<float (*)(float, float)>(distance2NF) &&
         resolves<void (*)(const FloatRow&, float, FloatRow&)>(distance2NF) &&
         resolves<void (*)(double, const FloatRow&, Steering&)>(makeUniformSteeringVectors) &&
         resolves<void (*)(double, const FloatColumn&, Steering&)>(makeUniformSteeringVectors) &&
         resolves<void (*)(const Steering&, const FloatRow&, FloatColumn&)>(
             evaluatePseudoSpectrum) &&
         resolves<void (*)(const Steering&, const FloatColumn&, FloatColumn&)>(
             evaluatePseudoSpectrum) &&
         resolves<void (*)(const FloatColumn&, float, FloatColumn&, DoubleColumn&)>(
             coder::findpeaks) &&
         resolves<void (*)(const FloatColumn&, float, float, FloatColumn&, DoubleColumn&)>(
             coder::findpeaks) &&
         resolves<void (*)(float, float, float, FloatRow&)>(coder::linspace) &&
         resolves<void (*)(double, double, DoubleRow&)>(coder::linspace) &&
         resolves<void (*)(FloatColumn&)>(sort) &&
         resolves<void (*)(FloatColumn&, coder::array<int, 1>&)>(sort);
}

bool freeFunctionsResolve() {
  namespace internal = coder::internal;
  return resolves(&nf2Distance) && resolves(&b_nf2Distance) && resolves(&determineNumSignals) &&
         resolves(&measurementSmoothing) && resolves(&coder::phased::internal::Ld) &&
         resolves(&internal::lapack::xsyheev) && resolves(&coder::eig) &&
         resolves(&evaluatePseudoSpectrumFFT) && resolves(&coder::firfreqz) &&
         resolves(&coder::fftshift) && resolves(&coder::b_exp) && resolves(&coder::sum) &&
         resolves(&coder::scanPeaks) && resolves(&coder::do_vectors) &&
         resolves(&coder::eml_find) && resolves(&internal::merge_block) &&
         resolves(&internal::b_merge_block) && resolves(&internal::mergeRuns) &&
         resolves(&internal::b_mergeRuns) && resolves(&coder::blockedSummation) &&
         resolves(&internal::maximum) && resolves(&internal::minimum) && resolves(&rt_powf_snf) &&
         resolves(&coder::b_log2) && resolves(&lockFFTPlanningProcess) &&
         resolves(&unlockFFTPlanningProcess) && resolves(&initFFTPlanningProcessLock);
}

bool calibrationResolves() {
  using flightpath::Calibration;
  return resolves(&Calibration::empty) && resolves(&Calibration::subcarrierSpacing) &&
         resolves(&Calibration::numSubcarriers) && resolves(&Calibration::tones) &&
         resolves(&Calibration::positions) && resolves(&Calibration::corrections) &&
         resolves(&Calibration::weights) && resolves(&Calibration::missingTones) &&
         resolves(&Calibration::delay_s) && resolves(&Calibration::numReferences) &&
         resolves(&Calibration::numOutliers);
}

bool classesResolve() {
  using coder::internal::fft::fftw::PlanCacheManager;
  using coder::internal::fft::fftw::PlanCacheTraits;
  MUSICLib estimator;
  ToFEstimationParameters tof;
  b_MUSICParameters normalised;
  normalised.init();
  return (*estimator.getStackData())->initialised == false &&
         normalised.InputNumSignals.size[1] == 0 && tof.InputNumSignals.size[1] == 0 &&
         PlanCacheTraits::getSingletonSingleBoundedArrayCache(&estimator) != nullptr &&
         resolves(&PlanCacheTraits::getCachedPlan) &&
         resolves(&PlanCacheManager::deallocateCacheManager);
}

bool constantsAgree() {
  return rtGetInf() == rtInf && rtGetMinusInf() == rtMinusInf && std::isnan(rtGetNaN()) &&
         std::isnan(rtNaN) && rtGetInfF() == rtInfF && rtGetMinusInfF() == rtMinusInfF &&
         std::isnan(rtGetNaNF()) && std::isnan(rtNaNF);
}

}  // namespace

int main() {
  const bool good = findsThePath() && rangesABatch() && rangesThroughGaps() && rangesBothWays() &&
                    rangesWithACalibration() && overloadsResolve() && freeFunctionsResolve() &&
                    calibrationResolves() && classesResolve() && constantsAgree();
  std::puts(good ? "consumer: everything resolves and the path is found" : "consumer: FAILED");
  return good ? 0 : 1;
}
