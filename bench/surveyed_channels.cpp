#include "bench/surveyed_channels.h"

#include <cstddef>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "csi_file.h"

namespace bench {
namespace {

constexpr double speedOfLight_mpns = 0.299792458;

std::vector<std::vector<std::string>> table(const char* path) {
  std::ifstream file(path);
  std::vector<std::vector<std::string>> rows;
  std::string line;
  std::getline(file, line);  // its header
  while (std::getline(file, line)) {
    std::istringstream fields(line);
    std::vector<std::string> row;
    for (std::string field; std::getline(fields, field, ',');) {
      row.push_back(field);
    }
    rows.push_back(row);
  }
  if (rows.empty()) {
    throw std::runtime_error(std::string(path) + ": no rows");
  }
  return rows;
}

std::vector<SurveyedTruth> truthsOf(const char* path) {
  std::vector<SurveyedTruth> all;
  for (const auto& row : table(path)) {
    all.push_back({std::stoi(row.at(1)), row.at(2), std::stod(row.at(3)), std::stod(row.at(4)),
                   std::stod(row.at(5))});
  }
  return all;
}

std::vector<double> pulse(const char* path) {
  std::vector<double> magnitudes;
  for (const auto& row : table(path)) {
    magnitudes.push_back(std::stod(row.at(1)));
  }
  return magnitudes;
}

}  // namespace

SurveyedChannels readSurveyed(const char* measurements, const char* truths, const char* pulsePath) {
  const CsiFile file = readCsiFile(measurements);
  SurveyedChannels channels;
  channels.spacing_Hz = file.spacing_Hz;
  channels.truths = truthsOf(truths);
  channels.magnitudes = pulse(pulsePath);
  for (const auto& row : file.measurements) {
    for (std::size_t k = 0; k < channels.magnitudes.size(); ++k) {
      channels.samples.push_back(std::complex<double>(row.at(k).re, row.at(k).im) /
                                 channels.magnitudes[k]);
    }
  }
  return channels;
}

double surveyedError_m(const SurveyedTruth& truth, double firstPath_ns, double share) {
  const double shift_m = share * speedOfLight_mpns * (firstPath_ns - truth.chipFirstPath_ns);
  return truth.chipRange_m + shift_m - truth.distance_m;
}

}  // namespace bench
