#pragma once

#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>
#include <vector>

/// The memory of its own that the process has resident, in bytes: without the pages of files, programs
/// and libraries among them, which the system drops and reads again as it likes. Dropped ones would
/// hide a leak.
inline double residentBytes() {
  std::FILE* const file = std::fopen("/proc/self/statm", "r");
  long total = 0;
  long resident = 0;
  long ofFiles = 0;
  const int read =
      file != nullptr ? std::fscanf(file, "%ld %ld %ld", &total, &resident, &ofFiles) : 0;
  if (file != nullptr) {
    std::fclose(file);
  }
  if (read != 3) {
    throw std::runtime_error("/proc/self/statm cannot be read");
  }
  return static_cast<double>(resident - ofFiles) * static_cast<double>(sysconf(_SC_PAGESIZE));
}

/// What the process has allocated and not given back, in bytes: to the byte where the resident memory
/// comes in pages, and blind to free memory that the allocator keeps, but for the small freed blocks
/// that a thread keeps at hand: they count until their number has reached its limit.
inline double allocatedBytes() {
  const struct mallinfo2 heap = mallinfo2();
  return static_cast<double>(heap.uordblks + heap.hblkhd);
}

/// A quantity over the number of estimates, and the straight line nearest to it.
class MemoryCurve {
 public:
  explicit MemoryCurve(std::size_t points) {
    at_.reserve(points);
    bytes_.reserve(points);
  }

  void add(double estimates, double bytes) {
    at_.push_back(estimates);
    bytes_.push_back(bytes);
  }

  double first() const { return bytes_.front(); }
  double last() const { return bytes_.back(); }

  /// Bytes an estimate, by least squares.
  double slope() const {
    const auto n = static_cast<double>(at_.size());
    double meanAt = 0.0;
    double meanBytes = 0.0;
    for (std::size_t k = 0; k < at_.size(); ++k) {
      meanAt += at_[k] / n;
      meanBytes += bytes_[k] / n;
    }
    double covariance = 0.0;
    double variance = 0.0;
    for (std::size_t k = 0; k < at_.size(); ++k) {
      covariance += (at_[k] - meanAt) * (bytes_[k] - meanBytes);
      variance += (at_[k] - meanAt) * (at_[k] - meanAt);
    }
    return covariance / variance;
  }

  /// What the line gains from the first point to the last.
  double growth() const { return slope() * (at_.back() - at_.front()); }

 private:
  std::vector<double> at_;
  std::vector<double> bytes_;
};
