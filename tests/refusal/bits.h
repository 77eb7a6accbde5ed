#pragma once

#include <cmath>
#include <concepts>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "flightpath/flightpath.h"
#include "tests/support/columns.h"

/// Any state of the tests' objects as bytes, so that "unchanged" and "the right bits" are one
/// comparison of the class EXACT. Any NaN counts as equal to any NaN.
namespace refusal {

class BitWriter {
 public:
  const std::string& bytes() const { return bytes_; }

  template <class T>
  requires std::is_arithmetic_v<T> || std::is_enum_v<T>
  void add(T value) {
    if constexpr (std::floating_point<T>) {
      if (std::isnan(value)) {
        bytes_ += "NaN";
        return;
      }
    }
    bytes_.append(reinterpret_cast<const char*>(&value), sizeof value);
  }

  void add(creal32_T z) {
    add(z.re);
    add(z.im);
  }

  template <class T, int N>
  void add(const coder::array<T, N>& a) {
    addRange(a.size);
    addRange(a);
  }

  template <class T>
  void add(const std::vector<T>& values) {
    add(values.size());
    addRange(values);
  }

  template <class... Ts>
  void add(const std::tuple<Ts...>& parts) {
    std::apply([this](const auto&... part) { (this->add(part), ...); }, parts);
  }

  void add(const ToFEstimate& e) { add(std::tie(e.Distances, e.TimesOfFlight)); }

  void add(const ToFResult& r) {
    add(std::tie(r.Distances, r.PeakValues, r.NumSignals, r.ScannedDistances, r.PseudoSpectrum));
  }

  void add(const MUSICResult& r) {
    add(std::tie(r.NormalizedFreqs, r.PeakValues, r.NumSignals, r.ScannedFreqs, r.PseudoSpectrum));
  }

  void add(const flightpath::PathSet& p) { add(support::everythingIn(p)); }

  void add(const ToFEstimationParameters& p) {
    add(std::tie(p.NumSubcarriers, p.SubcarrierSpacing, p.ScanningDistances, p.InputNumSignals,
                 p.ForceClassic, p.OptPhaseSlopeForOneSignalCase, p.MeasurementContinual,
                 p.CoarseResolution, p.FineResolution));
  }

  void add(const b_MUSICParameters& p) {
    add(std::tie(p.NormalizedScanningFreqs, p.InputNumSignals));
  }

  void add(const MUSICParameters& p) {
    add(std::tie(p.NormalizedScanningFreqs, p.InputNumSignals.data, p.ForceClassic,
                 p.OptPhaseSlopeForOneSignalCase, p.MeasurementContinual, p.CoarseResolution,
                 p.FineResolution));
    addRange(p.InputNumSignals.size);
  }

  /// A test's own record says itself what it is made of.
  template <class T>
  requires requires(T& record) { record.parts(); }
  void add(T& record) { add(record.parts()); }

 private:
  template <class Range>
  void addRange(const Range& values) {
    for (const auto& value : values) {
      add(value);
    }
  }

  std::string bytes_;
};

template <class T>
std::string bitsOf(T& object) {
  BitWriter writer;
  writer.add(object);
  return writer.bytes();
}

}  // namespace refusal
