#include "flightpath/ranging/detail/path_set_writer.h"

namespace flightpath {

void PathSetWriter::clear(const RangingContext& context, std::size_t rowsPerEstimate) {
  out_.context_ = context;
  out_.complete_ = true;
  out_.rowsPerEstimate_ = rowsPerEstimate;
  out_.offsets_.assign(1, 0);
  out_.distances_m_.clear();
  out_.delays_s_.clear();
  out_.peaks_dB_.clear();
  out_.deviations_m_.clear();
  out_.SNRs_dB_.clear();
  out_.lowers_m_.clear();
  out_.uppers_m_.clear();
  out_.amplitudes_.clear();
  out_.covariances_m2_.clear();
  out_.covarianceOffsets_.assign(1, 0);
  out_.numSignals_.clear();
  out_.outcomes_.clear();
  out_.noisePowers_.clear();
  out_.residualStructures_.clear();
  out_.weakestMargins_.clear();
  out_.nextMargins_.clear();
  out_.phaseOnly_.clear();
  out_.qualities_.clear();
}

void PathSetWriter::append(std::span<const EstimateRecord> records) {
  for (const EstimateRecord& record : records) {
    out_.offsets_.push_back(out_.offsets_.back() + record.numPaths);
    out_.covarianceOffsets_.push_back(out_.covarianceOffsets_.back() + record.numCovariances);
    out_.numSignals_.push_back(record.info.NumSignals);
    out_.outcomes_.push_back(record.info.Result);
    out_.noisePowers_.push_back(record.info.NoisePower);
    out_.residualStructures_.push_back(record.info.ResidualStructure);
    out_.weakestMargins_.push_back(record.info.WeakestMargin);
    out_.nextMargins_.push_back(record.info.NextMargin);
    out_.phaseOnly_.push_back(record.info.PhaseOnly ? 1 : 0);
    out_.qualities_.push_back(record.info.Quality);
  }
}

void PathSetWriter::append(const Findings& found) {
  for (const Path& path : found.paths) {
    out_.distances_m_.push_back(path.Distance_m);
    out_.delays_s_.push_back(path.Delay_s);
    out_.peaks_dB_.push_back(path.Peak_dB);
    out_.deviations_m_.push_back(path.Deviation_m);
    out_.SNRs_dB_.push_back(path.SNR_dB);
    out_.lowers_m_.push_back(path.Lower_m);
    out_.uppers_m_.push_back(path.Upper_m);
  }
  out_.amplitudes_.insert(out_.amplitudes_.end(), found.amplitudes.begin(), found.amplitudes.end());
  out_.covariances_m2_.insert(out_.covariances_m2_.end(), found.covariances_m2.begin(),
                              found.covariances_m2.end());
}

}  // namespace flightpath
