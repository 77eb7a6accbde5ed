#include "plugin.h"

#include <algorithm>

#include "estimates.h"

/// A part of a program that is loaded at run time and brings the library with it.
extern "C" __attribute__((visibility("default"))) bool answer(Answers* answers) {
  const std::vector<double> distances = estimatedDistances(2);
  if (!areRight(distances) || distances.size() != answers->size()) {
    return false;
  }
  std::copy(distances.begin(), distances.end(), answers->begin());
  return true;
}
