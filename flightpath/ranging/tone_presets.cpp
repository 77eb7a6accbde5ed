#include "flightpath/ranging/tone_presets.h"

#include <initializer_list>
#include <stdexcept>

namespace flightpath {
namespace {

/// first, first + step ... last
struct Run {
  int first = 0;
  int last = 0;
  int step = 1;
};

std::vector<int> join(std::initializer_list<Run> runs) {
  std::vector<int> tones;
  for (const Run& run : runs) {
    for (int tone = run.first; tone <= run.last; tone += run.step) {
      tones.push_back(tone);
    }
  }
  return tones;
}

}  // namespace

std::vector<int> tonesOf(TonePreset preset) {
  switch (preset) {
    case TonePreset::Legacy20:
      return join({{-26, -1}, {1, 26}});
    case TonePreset::HT20:
      return join({{-28, -1}, {1, 28}});
    case TonePreset::HT40:
      return join({{-58, -2}, {2, 58}});
    case TonePreset::VHT80:
    case TonePreset::HE20:
      return join({{-122, -2}, {2, 122}});
    case TonePreset::Grouped20:
      return join({{-28, -2, 2}, {-1, -1}, {1, 27, 2}, {28, 28}});
    case TonePreset::Grouped40:
      return join({{-58, -2, 4}, {2, 58, 4}});
    case TonePreset::HE40:
      return join({{-244, -3}, {3, 244}});
    case TonePreset::HE80:
      return join({{-500, -3}, {3, 500}});
    case TonePreset::HE160:
      return join({{-1012, -515}, {-509, -12}, {12, 509}, {515, 1012}});
    case TonePreset::Sounding:
      return join({{2, 22}, {26, 76}});
  }
  throw std::invalid_argument("Tones: there is no such preset");
}

}  // namespace flightpath
