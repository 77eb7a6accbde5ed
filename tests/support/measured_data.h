#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "csi_file.h"

// The measured channels of data/. A file that is absent fails the test that reads it.

namespace support {

inline std::filesystem::path dataFile(const std::string& name) {
  return std::filesystem::path(FLIGHTPATH_DATA_DIR) / name;
}

inline CsiFile readMeasured(const std::string& name) {
  return readCsiFile(dataFile(name).string());
}

/// The names of the channel files, in order: those that begin with the spacing of their subcarriers.
/// The other tables in the folder do not.
inline std::vector<std::string> measuredFiles() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(FLIGHTPATH_DATA_DIR)) {
    std::string firstLine;
    std::getline(std::ifstream(entry.path()), firstLine);
    if (firstLine.rfind("# spacing_hz=", 0) == 0) {
      names.push_back(entry.path().filename().string());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace support
