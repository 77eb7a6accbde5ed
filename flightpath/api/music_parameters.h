#pragma once

#include "flightpath/runtime/array.h"
#include "flightpath/runtime/export.h"

/// Settings of the estimators in normalised frequency (cycles per sample step).
///
/// The fields of both classes mean the same:
///
/// NormalizedScanningFreqs        1 x G, the grid of the classic search; no element: none given
/// InputNumSignals                one number, a forced signal count; absent: estimate it
/// ForceClassic                   non-zero: prefer the classic search where a grid is given
/// OptPhaseSlopeForOneSignalCase  non-zero: allow the closed form for exactly one signal
/// MeasurementContinual           non-zero: samples are uniformly spaced, so smooth the covariance
/// CoarseResolution               step of the coarse search, normalised frequency; usual: 1 / (30 N)
/// FineResolution                 step of the fine search; usual: a fiftieth of the coarse one
///
/// No value is checked here. The estimators answer every value with a result or, where a step asks
/// for too many points (0 does), with std::length_error.

/// What the time-of-flight estimator works with; `ToFEstimationParameters` produces it.
class FLIGHTPATH_API b_MUSICParameters {
 public:
  coder::array<float, 2> NormalizedScanningFreqs;
  coder::array<float, 2> InputNumSignals;
  unsigned char ForceClassic;
  unsigned char OptPhaseSlopeForOneSignalCase;
  unsigned char MeasurementContinual;
  float CoarseResolution;
  float FineResolution;

  /// Both arrays empty (0 x 0). Switches and resolutions stay unset: every user sets them.
  b_MUSICParameters();

  /// Makes both arrays 1 x 0, with storage for the values to come. Nothing else changes.
  void init();

  void set_ForceClassic(unsigned char value);
  void set_OptPhaseSlopeForOneSignalCase(unsigned char value);
  void set_MeasurementContinual(unsigned char value);
  void set_CoarseResolution(float value);
  void set_FineResolution(float value);

  /// The field becomes a 1 x n row of the first n elements of `v`, n its second extent.
  void set_InputNumSignals(const coder::array<float, 2>& v);
  void set_NormalizedScanningFreqs(const coder::array<float, 2>& v);
};

/// A number that may be absent: it counts as given where both extents are non-zero.
struct BoundedNumSignals {
  float data;
  int size[2];
};

/// The settings that a caller of `MUSICLib::MUSIC1D` fills.
class FLIGHTPATH_API MUSICParameters {
 public:
  coder::array<float, 2> NormalizedScanningFreqs;
  BoundedNumSignals InputNumSignals = {};
  unsigned char ForceClassic = 0;
  unsigned char OptPhaseSlopeForOneSignalCase = 0;
  unsigned char MeasurementContinual = 0;
  float CoarseResolution = 0.0F;
  float FineResolution = 0.0F;

  /// Accepts every value and returns it. One hook for all switches of all three classes of settings.
  static unsigned char a__validate_ForceClassic(unsigned char value);

  /// The hooks of the other fields; each accepts every value. The resolutions pass
  /// `ToFEstimationParameters::a__validate_CoarseResolution`.
  static void a__validate_NormalizedScanningFreqs(const coder::array<float, 2>& v);
  static void a__validate_InputNumSignals(const float* value, const int* size);

  void set_ForceClassic(unsigned char value);
  void set_OptPhaseSlopeForOneSignalCase(unsigned char value);
  void set_MeasurementContinual(unsigned char value);
  void set_CoarseResolution(float value);
  void set_FineResolution(float value);

  /// The field becomes a 1 x n row of the first n elements of `v`, n its second extent.
  void set_NormalizedScanningFreqs(const coder::array<float, 2>& v);

  /// value  one float, read only where the product of the extents is positive
  /// size   two extents
  void set_InputNumSignals(const float* value, const int* size);

  /// Fills the whole object.
  ///
  /// normalizedScanningFreqs  stored as a 1 x n row of its first n elements, n its second extent
  /// inputNumSignals          one float, read only where the product of the extents is positive
  /// inputNumSignalsSize      two extents
  void init(const coder::array<float, 2>& normalizedScanningFreqs, const float* inputNumSignals,
            const int* inputNumSignalsSize, unsigned char forceClassic,
            unsigned char optPhaseSlopeForOneSignalCase, unsigned char measurementContinual,
            float coarseResolution, float fineResolution);
};
