#pragma once

#include <algorithm>
#include <random>
#include <vector>

/// Sets of tones that the tests of the likelihood share.
namespace support {

inline std::vector<int> range(int first, int last, int step = 1) {
  std::vector<int> tones;
  for (int t = first; t <= last; t += step) {
    tones.push_back(t);
  }
  return tones;
}

inline std::vector<int> joined(std::vector<int> a, const std::vector<int>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

inline std::vector<int> randomTones(int of, int count, std::mt19937_64& random) {
  std::vector<int> tones = range(0, of - 1);
  std::shuffle(tones.begin(), tones.end(), random);
  tones.resize(static_cast<std::size_t>(count));
  std::sort(tones.begin(), tones.end());
  return tones;
}

inline std::vector<int> twoBlocks() { return joined(range(0, 31), range(64, 95)); }

}  // namespace support
