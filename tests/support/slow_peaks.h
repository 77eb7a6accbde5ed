#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <random>
#include <vector>

#include "flightpath/runtime/nonfinite.h"

/// Peaks by what they are, looked up run by run: the slow model of the one-pass scan and of the two
/// peak finders. All positions are 1-based and ascending unless said otherwise.
namespace support {

/// Neighbouring samples of one value. A NaN counts as +Inf, which breaks the curve alike.
struct SampleRun {
  float value;
  int first;
  bool breaksCurve() const { return value == rtInfF; }
};

inline std::vector<SampleRun> sampleRuns(const std::vector<float>& y) {
  std::vector<SampleRun> runs;
  for (std::size_t k = 0; k < y.size(); ++k) {
    const float value = std::isnan(y[k]) ? rtInfF : y[k];
    if (runs.empty() || runs.back().value != value) {
      runs.push_back({value, static_cast<int>(k) + 1});
    }
  }
  return runs;
}

/// Runs of numbers with a lower number on either side.
inline std::vector<int> slowFinitePeaks(const std::vector<float>& y) {
  const std::vector<SampleRun> runs = sampleRuns(y);
  std::vector<int> peaks;
  for (std::size_t r = 1; r + 1 < runs.size(); ++r) {
    if (runs[r - 1].value < runs[r].value && runs[r].value > runs[r + 1].value &&
        !runs[r].breaksCurve()) {
      peaks.push_back(runs[r].first);
    }
  }
  return peaks;
}

inline std::vector<int> slowInfiniteSamples(const std::vector<float>& y) {
  std::vector<int> positions;
  for (std::size_t k = 0; k < y.size(); ++k) {
    if (y[k] == rtInfF) {
      positions.push_back(static_cast<int>(k) + 1);
    }
  }
  return positions;
}

/// Whether the curve changes its course at run r, which has a run behind it. A break in front of
/// the first number starts nothing.
inline bool turnsAt(const std::vector<SampleRun>& runs, std::size_t r) {
  if (r == 0) {
    return !runs[r].breaksCurve();
  }
  if (runs[r - 1].breaksCurve() || runs[r].breaksCurve() || runs[r + 1].breaksCurve()) {
    return true;
  }
  return (runs[r - 1].value < runs[r].value) != (runs[r].value < runs[r + 1].value);
}

/// The runs at which the curve turns, and the last sample if it is a number.
inline std::vector<int> slowInflections(const std::vector<float>& y) {
  const std::vector<SampleRun> runs = sampleRuns(y);
  std::vector<int> positions;
  for (std::size_t r = 0; r + 1 < runs.size(); ++r) {
    if (turnsAt(runs, r)) {
      positions.push_back(runs[r].first);
    }
  }
  if (!runs.empty() && !runs.back().breaksCurve()) {
    positions.push_back(static_cast<int>(y.size()));
  }
  return positions;
}

/// Finite peaks strictly above a height and every +Inf sample.
inline std::vector<int> slowPeaksAbove(const std::vector<float>& y, float minHeight) {
  std::vector<int> positions = slowInfiniteSamples(y);
  for (const int p : slowFinitePeaks(y)) {
    if (y[static_cast<std::size_t>(p - 1)] > minHeight) {
      positions.push_back(p);
    }
  }
  std::ranges::sort(positions);
  return positions;
}

/// Again and again the tallest of what is left, the leftmost of equals.
inline std::vector<int> slowTallestFirst(const std::vector<float>& y, std::vector<int> positions) {
  std::vector<int> sorted;
  while (!positions.empty()) {
    const auto tallest = std::ranges::max_element(
        positions, std::less<>(), [&](int p) { return y[static_cast<std::size_t>(p - 1)]; });
    sorted.push_back(*tallest);
    positions.erase(tallest);
  }
  return sorted;
}

/// Leaves the leading whole number of positions that does not exceed the limit. NaN limits nothing.
inline std::vector<int> atMost(float maxPeaks, std::vector<int> positions) {
  while (!positions.empty() && static_cast<double>(positions.size()) > maxPeaks) {
    positions.pop_back();
  }
  return positions;
}

/// Calls `check` with every sequence of the alphabet's values up to a length.
inline void forEverySequence(const std::vector<float>& alphabet, std::size_t longest,
                             const std::function<void(const std::vector<float>&)>& check) {
  std::vector<float> sequence;
  const std::function<void()> extend = [&] {
    check(sequence);
    if (sequence.size() == longest) {
      return;
    }
    for (const float value : alphabet) {
      sequence.push_back(value);
      extend();
      sequence.pop_back();
    }
  };
  extend();
}

/// Calls `check` with random sequences of the alphabet's values that are longer than all the above.
inline void forRandomSequences(const std::vector<float>& alphabet, int count, std::uint64_t seed,
                               const std::function<void(const std::vector<float>&)>& check) {
  std::mt19937_64 random(seed);
  std::uniform_int_distribution<std::size_t> length(7, 60);
  std::uniform_int_distribution<std::size_t> pick(0, alphabet.size() - 1);
  for (int k = 0; k < count; ++k) {
    std::vector<float> sequence(length(random));
    std::ranges::generate(sequence, [&] { return alphabet[pick(random)]; });
    check(sequence);
  }
}

}  // namespace support
