#pragma once

#include <flightpath/flightpath.h>

#include <cstdint>
#include <istream>
#include <string>
#include <vector>

/// Channel measurements from a text file.
///
///   # spacing_hz=312500 measurements=2 subcarriers=64      any further # line is a comment
///   0.91,-0.12,0.88,-0.21,...                              re,im of every subcarrier, a line each
///
/// `measurements` and `subcarriers` may be left out; where they are given they must be true.
struct CsiFile {
  std::uint32_t spacing_Hz = 0;
  std::vector<std::vector<creal32_T>> measurements;
};

/// Reads a file. std::runtime_error says what is wrong with one that cannot be used: missing, no
/// spacing, an odd number of values, something that is not a number (with its line), no
/// measurement.
CsiFile readCsiFile(const std::string& path);

/// The same from an open stream; messages begin with `name`.
CsiFile readCsi(std::istream& in, const std::string& name);
