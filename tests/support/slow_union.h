#pragma once

#include <algorithm>
#include <set>
#include <vector>

/// The sorted union of two ascending vectors by what it is: a set, every value looked up.
namespace support {

struct Union {
  std::vector<int> c;
  std::vector<int> ia;
  std::vector<int> ib;
  bool operator==(const Union&) const = default;
};

/// 1-based position of the first element equal to `value`, 0 for none.
inline int positionIn(const std::vector<int>& values, int value) {
  const auto found = std::ranges::find(values, value);
  return found == values.end() ? 0 : static_cast<int>(found - values.begin()) + 1;
}

inline Union slowUnite(const std::vector<int>& a, const std::vector<int>& b) {
  std::set<int> all(a.begin(), a.end());
  all.insert(b.begin(), b.end());
  Union result;
  for (const int value : all) {
    result.c.push_back(value);
    const int inA = positionIn(a, value);
    (inA > 0 ? result.ia : result.ib).push_back(inA > 0 ? inA : positionIn(b, value));
  }
  return result;
}

}  // namespace support
