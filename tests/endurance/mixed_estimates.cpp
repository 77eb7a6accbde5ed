#include "tests/endurance/mixed_estimates.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "simulated_channel.h"

namespace {

constexpr double spacing_Hz = 312500.0;

coder::array<float, 2> rowOf(const std::vector<float>& values) {
  coder::array<float, 2> row;
  row.set_size(1, static_cast<std::int32_t>(values.size()));
  std::copy(values.begin(), values.end(), row.begin());
  return row;
}

/// Points `step` apart, as a caller's own grid.
coder::array<float, 2> gridOf(int points, float step) {
  std::vector<float> grid;
  for (int k = 0; k < points; ++k) {
    grid.push_back(static_cast<float>(k) * step);
  }
  return rowOf(grid);
}

}  // namespace

int MixedEstimates::next() {
  const int N = drawSize();
  const unsigned long kind = calls_ % 5;
  ++calls_;
  switch (kind) {
    case 0:
      byEntryPoint(N);
      return 1;
    case 1:
      inMetres(N);
      return 1;
    case 2:
      normalised(N);
      return 1;
    case 3:
      return batch(N, byMusic());
    default:
      return batch(N, byLikelihood(N));
  }
}

/// 3 to 64, and now and then a large one, whose work space comes from the system and goes back to it.
/// The large ones are few: FFTW remembers every length that it ever planned, for the whole process,
/// and the warm-up must have seen them all.
int MixedEstimates::drawSize() {
  constexpr int large[] = {100, 114, 128, 177, 242};
  if (calls_ % 97 == 0) {
    return large[calls_ / 97 % std::size(large)];
  }
  return std::uniform_int_distribution<int>(3, 64)(random_);
}

/// Nothing, one path and three in turn.
std::optional<unsigned char> MixedEstimates::nextForcedCount() const {
  switch (calls_ / 5 % 3) {
    case 0:
      return {};
    case 1:
      return static_cast<unsigned char>(1);
    default:
      return static_cast<unsigned char>(3);
  }
}

std::vector<creal32_T> MixedEstimates::drawMeasurements(int N, int count) {
  std::uniform_real_distribution<double> delay_s(10e-9, 1500e-9);
  std::vector<creal32_T> samples;
  for (int i = 0; i < count; ++i) {
    const std::vector<SimulatedPath> paths = {{delay_s(random_), 1.0, 0.3},
                                              {delay_s(random_), 0.8, 1.9}};
    const std::vector<creal32_T> row = simulateChannel(paths, {N, spacing_Hz, 20.0}, random_);
    samples.insert(samples.end(), row.begin(), row.end());
  }
  return samples;
}

coder::array<creal32_T, 1> MixedEstimates::drawColumn(int N) {
  const std::vector<creal32_T> samples = drawMeasurements(N, 1);
  coder::array<creal32_T, 1> column;
  column.set_size(N);
  std::copy(samples.begin(), samples.end(), column.begin());
  return column;
}

MUSICLib& MixedEstimates::estimator() {
  if (estimator_ == nullptr || calls_ % 101 == 0) {
    estimator_ = std::make_unique<MUSICLib>();
  }
  return *estimator_;
}

void MixedEstimates::byEntryPoint(int N) {
  const std::vector<creal32_T> samples = drawMeasurements(N, 1);
  MUSIC::estimateToF(
      {static_cast<std::uint32_t>(spacing_Hz), static_cast<std::uint16_t>(N), samples.data()},
      nextForcedCount());
}

void MixedEstimates::inMetres(int N) {
  const bool withGrid = calls_ % 3 == 0;
  const std::optional<unsigned char> forced = nextForcedCount();
  ToFEstimationParameters parameters;
  parameters.init(static_cast<float>(N), static_cast<float>(spacing_Hz),
                  withGrid ? gridOf(400, 1.0F) : rowOf({}),
                  forced ? rowOf({static_cast<float>(*forced)}) : rowOf({}), calls_ % 2, 1, 1, {},
                  {});
  ToFResult result;
  estimator().MUSICToF(drawColumn(N), &parameters, &result);
}

void MixedEstimates::normalised(int N) {
  const bool withGrid = calls_ / 5 % 5 == 0;
  const float forced = 2.0F;
  const int given[] = {1, calls_ % 2 == 0 ? 1 : 0};
  const float coarse = 1.0F / (30.0F * static_cast<float>(N));
  MUSICParameters parameters;
  parameters.init(withGrid ? gridOf(400, 0.00125F) : rowOf({}), &forced, given, 1, 1,
                  calls_ % 7 != 0, coarse, coarse / 50.0F);
  MUSICResult result;
  estimator().MUSIC1D(drawColumn(N), &parameters, &result);
}

flightpath::RangingOptions MixedEstimates::byMusic() {
  flightpath::RangingOptions options;
  options.Method = flightpath::RangingMethod::Music;
  return options;
}

/// With and without a gap, a row at a time and two, and intervals now and then.
flightpath::RangingOptions MixedEstimates::byLikelihood(int N) const {
  flightpath::RangingOptions options;
  if (calls_ % 2 == 0) {
    for (int k = 0; k < N; ++k) {
      options.Tones.push_back(k < N / 2 ? k : k + 3);
    }
  }
  options.SnapshotsPerEstimate = calls_ % 3 == 0 ? 2 : 1;
  if (calls_ % 7 == 0) {
    options.IntervalLevel = 0.9;
  }
  return options;
}

int MixedEstimates::batch(int N, flightpath::RangingOptions options) {
  constexpr int count = 2;
  options.SubcarrierSpacing = spacing_Hz;
  options.NumPaths = nextForcedCount();
  options.Threads = calls_ / 5 % 4 == 0 ? 2 : 1;
  flightpath::Ranger ranger(static_cast<std::uint32_t>(N), options);
  ranger.estimate({drawMeasurements(N, count), static_cast<std::size_t>(N)});
  return count;
}
