#pragma once

#include <malloc.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

/// What the system says about this process.
struct ProcessState {
  long resident_KiB;
  long heapInUse_B;
  long threads;
  long descriptors;
};

inline long entriesOf(const char* folder) {
  return std::distance(std::filesystem::directory_iterator(folder), {});
}

inline ProcessState processState() {
  long pages = 0;
  std::ifstream("/proc/self/statm") >> pages >> pages;  // the second number is what is resident
  constexpr long page_KiB = 4;
  return {pages * page_KiB, static_cast<long>(mallinfo2().uordblks), entriesOf("/proc/self/task"),
          entriesOf("/proc/self/fd")};
}

/// The files of the shared objects that are mapped, without their folders.
inline std::set<std::string> mappedObjects() {
  std::set<std::string> objects;
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    const std::string name = line.substr(line.find_last_of(' ') + 1);
    if (name.find(".so") != std::string::npos) {
      objects.insert(name.substr(name.find_last_of('/') + 1));
    }
  }
  return objects;
}
