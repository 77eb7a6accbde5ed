#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "flightpath/api/entry/estimate_tof.h"
#include "flightpath/api/music_parameters.h"
#include "flightpath/api/tof_parameters.h"
#include "flightpath/music/music_result.h"
#include "flightpath/music/tof_result.h"
#include "flightpath/runtime/array.h"

/// The order of members in the public records, on which programs that are already built rely. Nothing
/// to run: a record that changes does not compile here.
namespace {

using Column = coder::array<float, 1>;
using Matrix = coder::array<float, 2>;

template <class Record>
constexpr bool isPlain = std::is_standard_layout_v<Record>;

/// That each element type keeps its array's members where they are.
template <class T, int N>
constexpr bool hasArrayLayout() {
  using Array = coder::array<T, N>;
  return isPlain<Array> && offsetof(Array, data) == 0 && offsetof(Array, numel) == 8 &&
         offsetof(Array, capacity) == 12 && offsetof(Array, owner) == 16 &&
         offsetof(Array, size) == 20 && sizeof(Array) == 24 + 8 * (N - 1);
}

static_assert(hasArrayLayout<float, 1>() && hasArrayLayout<float, 2>());
static_assert(hasArrayLayout<double, 1>() && hasArrayLayout<double, 2>());
static_assert(hasArrayLayout<int, 1>() && hasArrayLayout<unsigned char, 2>());
static_assert(hasArrayLayout<creal32_T, 1>() && hasArrayLayout<creal32_T, 2>());

static_assert(isPlain<creal32_T> && sizeof(creal32_T) == 8);
static_assert(offsetof(creal32_T, re) == 0 && offsetof(creal32_T, im) == 4);

static_assert(isPlain<CSI>);
static_assert(offsetof(CSI, SubcarrierSpacing) == 0);
static_assert(offsetof(CSI, NumSubcarriers) == 4);
static_assert(offsetof(CSI, Samples) == 8);
static_assert(std::is_same_v<decltype(CSI::SubcarrierSpacing), std::uint32_t>);
static_assert(std::is_same_v<decltype(CSI::NumSubcarriers), std::uint16_t>);
static_assert(std::is_same_v<decltype(CSI::Samples), const creal32_T*>);

static_assert(isPlain<ToFEstimate>);
static_assert(offsetof(ToFEstimate, Distances) == 0);
static_assert(offsetof(ToFEstimate, TimesOfFlight) == sizeof(std::vector<double>));
static_assert(sizeof(ToFEstimate) == 2 * sizeof(std::vector<double>));

static_assert(isPlain<ToFResult> && sizeof(Matrix) == 32);
static_assert(offsetof(ToFResult, Distances) == 0);
static_assert(offsetof(ToFResult, PeakValues) == 32);
static_assert(offsetof(ToFResult, NumSignals) == 64);
static_assert(offsetof(ToFResult, ScannedDistances) == 72);
static_assert(offsetof(ToFResult, PseudoSpectrum) == 104);
static_assert(std::is_same_v<decltype(ToFResult::PseudoSpectrum), Column>);
static_assert(sizeof(ToFResult) == 104 + sizeof(Column));

static_assert(isPlain<MUSICResult>);
static_assert(offsetof(MUSICResult, PeakValues) == 0);
static_assert(offsetof(MUSICResult, NormalizedFreqs) == 32);
static_assert(offsetof(MUSICResult, NumSignals) == 64);
static_assert(offsetof(MUSICResult, ScannedFreqs) == 72);
static_assert(offsetof(MUSICResult, PseudoSpectrum) == 104);
static_assert(std::is_same_v<decltype(MUSICResult::PseudoSpectrum), Column>);
static_assert(sizeof(MUSICResult) == 104 + sizeof(Column));

static_assert(isPlain<ToFEstimationParameters>);
static_assert(offsetof(ToFEstimationParameters, NumSubcarriers) == 0);
static_assert(offsetof(ToFEstimationParameters, SubcarrierSpacing) == 4);
static_assert(offsetof(ToFEstimationParameters, ScanningDistances) == 8);
static_assert(offsetof(ToFEstimationParameters, InputNumSignals) == 40);
static_assert(offsetof(ToFEstimationParameters, ForceClassic) == 72);
static_assert(offsetof(ToFEstimationParameters, OptPhaseSlopeForOneSignalCase) == 73);
static_assert(offsetof(ToFEstimationParameters, MeasurementContinual) == 74);
static_assert(offsetof(ToFEstimationParameters, CoarseResolution) == 80);
static_assert(offsetof(ToFEstimationParameters, FineResolution) == 112);
static_assert(sizeof(ToFEstimationParameters) == 144);

static_assert(isPlain<b_MUSICParameters>);
static_assert(offsetof(b_MUSICParameters, NormalizedScanningFreqs) == 0);
static_assert(offsetof(b_MUSICParameters, InputNumSignals) == 32);
static_assert(offsetof(b_MUSICParameters, ForceClassic) == 64);
static_assert(offsetof(b_MUSICParameters, OptPhaseSlopeForOneSignalCase) == 65);
static_assert(offsetof(b_MUSICParameters, MeasurementContinual) == 66);
static_assert(offsetof(b_MUSICParameters, CoarseResolution) == 68);
static_assert(offsetof(b_MUSICParameters, FineResolution) == 72);
static_assert(sizeof(b_MUSICParameters) == 80);

static_assert(isPlain<BoundedNumSignals>);
static_assert(offsetof(BoundedNumSignals, data) == 0);
static_assert(offsetof(BoundedNumSignals, size) == 4);
static_assert(sizeof(BoundedNumSignals) == 12);

static_assert(isPlain<MUSICParameters>);
static_assert(offsetof(MUSICParameters, NormalizedScanningFreqs) == 0);
static_assert(offsetof(MUSICParameters, InputNumSignals) == 32);
static_assert(offsetof(MUSICParameters, ForceClassic) == 44);
static_assert(offsetof(MUSICParameters, OptPhaseSlopeForOneSignalCase) == 45);
static_assert(offsetof(MUSICParameters, MeasurementContinual) == 46);
static_assert(offsetof(MUSICParameters, CoarseResolution) == 48);
static_assert(offsetof(MUSICParameters, FineResolution) == 52);
static_assert(sizeof(MUSICParameters) == 56);

}  // namespace
