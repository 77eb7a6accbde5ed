#pragma once

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/export.h"

class b_MUSICParameters;

/// Settings of the time-of-flight estimator in metres and hertz.
///
/// NumSubcarriers                 number of subcarriers N
/// SubcarrierSpacing              spacing in hertz
/// ScanningDistances              1 x G distances in metres for the classic search, or no element;
///                                a row: a column counts as one point
/// InputNumSignals                1 x 1, a forced number of paths; no element: estimate it
/// ForceClassic                   non-zero: prefer the classic search where distances are given
/// OptPhaseSlopeForOneSignalCase  non-zero: allow the closed form for exactly one path
/// MeasurementContinual           non-zero: subcarriers are contiguous, so smooth the covariance
/// CoarseResolution               1 x 1, coarse step in metres; no element: the default
/// FineResolution                 1 x 1, fine step in metres; no element: the default
///
/// `MUSIC::estimateToF` sets N and spacing of the record, ForceClassic 0,
/// OptPhaseSlopeForOneSignalCase 1, MeasurementContinual 1 and leaves every array empty.
///
/// No value is checked here. The estimators answer every value with a result or, where a step asks
/// for too many points (0 does), with std::length_error.
class FLIGHTPATH_API ToFEstimationParameters {
 public:
  float NumSubcarriers;
  float SubcarrierSpacing;
  coder::array<float, 2> ScanningDistances;
  coder::array<float, 2> InputNumSignals;
  unsigned char ForceClassic;
  unsigned char OptPhaseSlopeForOneSignalCase;
  unsigned char MeasurementContinual;
  coder::array<float, 2> CoarseResolution;
  coder::array<float, 2> FineResolution;

  /// All arrays empty (0 x 0). Numbers and switches stay unset: every user sets them.
  ToFEstimationParameters();

  /// Fills the whole object. Every array is stored as a 1 x n row of its first n elements, n its
  /// second extent.
  void init(float numSubcarriers, float subcarrierSpacing,
            const coder::array<float, 2>& scanningDistances,
            const coder::array<float, 2>& inputNumSignals, unsigned char forceClassic,
            unsigned char optPhaseSlopeForOneSignalCase, unsigned char measurementContinual,
            const coder::array<float, 2>& coarseResolution,
            const coder::array<float, 2>& fineResolution);

  /// N * spacing, in hertz.
  float getBandwidth() const;

  /// Default steps in metres from the bandwidth B.
  ///
  ///   coarse = c / B / 30      a thirtieth of the range resolution
  ///   fine   = coarse / 50
  ///
  /// fineResolution  (out) the fine step
  /// returns the coarse step; both are infinite for a bandwidth of 0
  float getOptimalResolutions(float& fineResolution) const;

  /// The hooks that a value passes on its way into its field. Each accepts every value. The hook of the
  /// coarse resolution serves both, in all three classes of settings; the switches share
  /// `MUSICParameters::a__validate_ForceClassic`.
  static void a__validate_NumSubcarriers(float value);
  static void a__validate_SubcarrierSpacing(float value);
  static void a__validate_ScanningDistances(const coder::array<float, 2>& v);
  static void a__validate_InputNumSignals(const coder::array<float, 2>& v);
  static void a__validate_CoarseResolution(float value);

  void set_NumSubcarriers(float value);
  void set_SubcarrierSpacing(float value);
  void set_ForceClassic(unsigned char value);
  void set_OptPhaseSlopeForOneSignalCase(unsigned char value);
  void set_MeasurementContinual(unsigned char value);

  /// The field becomes a 1 x n row of the first n elements of `v`, n its second extent.
  void set_ScanningDistances(const coder::array<float, 2>& v);
  void set_InputNumSignals(const coder::array<float, 2>& v);

  /// The field becomes 1 x 1.
  void set_CoarseResolution(float r);
  void set_FineResolution(float r);

  /// The same settings in normalised frequency. A resolution that is absent takes its default,
  /// which this object then holds: hence not const.
  void getMUSICParameters(b_MUSICParameters& out);
};
