#pragma once

#include <complex>
#include <cstddef>
#include <type_traits>
#include <utility>

#include "flightpath/runtime/complex.h"

namespace flightpath {

/// Samples of many measurements, row after row, in the caller's storage: one measurement per row, one
/// complex sample per subcarrier.
///
/// Samples are `creal32_T`, `std::complex<float>` or `std::complex<double>`; they are read and never
/// written, and must outlive the call that they are handed to. The caller states how long a row
/// is, so that a receiver with another number of subcarriers is an error, not a misread.
///
///   std::vector<std::complex<float>> csi(1000 * 64);
///   ranger.estimate({csi, 64});        // 1000 rows of 64 samples
///   ranger.estimate({csi, 64, 128});   // every second row
///
/// samples        the first sample of the first row; null only where there are no samples
/// numSamples     how many samples may be read in all: whole rows; padding after the last row is
///                optional
/// samplesPerRow  how many samples a measurement has; left out, all of them are one measurement
/// rowStride      samples from the beginning of a row to that of the next; 0: rows without gaps
class CsiRows {
  template <class Sample>
  static constexpr bool isSample =
      std::is_same_v<Sample, creal32_T> || std::is_same_v<Sample, std::complex<float>> ||
      std::is_same_v<Sample, std::complex<double>>;

  template <class Container>
  using SampleOf =
      std::remove_cv_t<std::remove_pointer_t<decltype(std::declval<const Container&>().data())>>;

 public:
  enum class Precision { Single, Double };

  template <class Sample, class = std::enable_if_t<isSample<Sample>>>
  CsiRows(const Sample* samples, std::size_t numSamples, std::size_t samplesPerRow,
          std::size_t rowStride = 0)
      : data_(samples),
        precision_(std::is_same_v<Sample, std::complex<double>> ? Precision::Double
                                                                : Precision::Single),
        numSamples_(numSamples),
        samplesPerRow_(samplesPerRow),
        rowStride_(rowStride == 0 ? samplesPerRow : rowStride) {}

  /// From a container with `data()` and `size()`, a vector, a std::array, a span: all of it one
  /// measurement, or rows.
  template <class Container, class = std::enable_if_t<isSample<SampleOf<Container>>>>
  CsiRows(const Container& samples)  // NOLINT(google-explicit-constructor): a view of it
      : CsiRows(samples.data(), samples.size(), samples.size()) {}

  template <class Container, class = std::enable_if_t<isSample<SampleOf<Container>>>>
  CsiRows(const Container& samples, std::size_t samplesPerRow, std::size_t rowStride = 0)
      : CsiRows(samples.data(), samples.size(), samplesPerRow, rowStride) {}

  /// From an array, in the same way.
  template <class Sample, std::size_t n, class = std::enable_if_t<isSample<Sample>>>
  CsiRows(const Sample (&samples)[n])  // NOLINT(google-explicit-constructor): a view of it
      : CsiRows(&samples[0], n, n) {}

  template <class Sample, std::size_t n, class = std::enable_if_t<isSample<Sample>>>
  CsiRows(const Sample (&samples)[n], std::size_t samplesPerRow, std::size_t rowStride = 0)
      : CsiRows(&samples[0], n, samplesPerRow, rowStride) {}

  /// The samples as pairs of parts, real part first, of float or of double.
  const void* data() const { return data_; }
  Precision precision() const { return precision_; }
  std::size_t numSamples() const { return numSamples_; }
  std::size_t samplesPerRow() const { return samplesPerRow_; }
  std::size_t rowStride() const { return rowStride_; }

 private:
  const void* data_ = nullptr;
  Precision precision_ = Precision::Single;
  std::size_t numSamples_ = 0;
  std::size_t samplesPerRow_ = 0;
  std::size_t rowStride_ = 0;
};

}  // namespace flightpath
