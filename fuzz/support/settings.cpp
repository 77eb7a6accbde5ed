#include "fuzz/support/settings.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "fuzz/support/any_float.h"
#include "fuzz/support/plain_estimator.h"
#include "tests/support/builders.h"

namespace fuzz {
namespace {

constexpr int mostGridPoints = 256;

std::vector<float> evenGrid(FuzzedDataProvider& data, int count) {
  const float first = static_cast<float>(data.ConsumeIntegralInRange(-64, 64)) / 64.0F;
  const float step = static_cast<float>(data.ConsumeIntegralInRange(-64, 64)) / 4096.0F;
  std::vector<float> grid(static_cast<std::size_t>(count));
  std::ranges::generate(grid,
                        [&, k = 0]() mutable { return first + step * static_cast<float>(k++); });
  return grid;
}

std::vector<float> wholePeriod(int count) {
  std::vector<float> grid(static_cast<std::size_t>(count));
  std::ranges::generate(grid, [=, k = 0]() mutable {
    return static_cast<float>(k++) / static_cast<float>(count) - 0.5F;
  });
  return grid;
}

std::vector<float> gridValues(FuzzedDataProvider& data) {
  const int count = data.ConsumeIntegralInRange(0, mostGridPoints);
  switch (data.ConsumeIntegralInRange(0, 2)) {
    case 0:
      return wholePeriod(count);
    case 1:
      return evenGrid(data, count);
    default: {
      std::vector<float> grid(static_cast<std::size_t>(count % 40));
      std::ranges::generate(grid, [&] { return anyFloat(data); });
      return grid;
    }
  }
}

}  // namespace

coder::array<float, 2> anyGrid(FuzzedDataProvider& data, float unit) {
  if (data.ConsumeBool()) {
    return {};
  }
  std::vector<float> grid = gridValues(data);
  for (float& g : grid) {
    g *= unit;
  }
  const int rows = data.ConsumeBool() ? 1 : data.ConsumeIntegralInRange(0, 3);
  const int cols = static_cast<int>(grid.size()) / std::max(rows, 1);
  grid.resize(static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols));
  return support::matrix(rows, cols, grid);
}

float anyCount(FuzzedDataProvider& data, int N) {
  const int half = data.ConsumeBool() ? N / 2 : 3 * N / 8;
  switch (data.ConsumeIntegralInRange(0, 3)) {
    case 0:
      return anyFloat(data);
    case 1:  // around half the dimensions, where the route changes
      return static_cast<float>(half + data.ConsumeIntegralInRange(-1, 1));
    default:
      return static_cast<float>(data.ConsumeIntegralInRange(0, N + 2));
  }
}

float anyCoarseResolution(FuzzedDataProvider& data, int N) {
  switch (data.ConsumeIntegralInRange(0, 5)) {
    case 0:
      return anyFloat(data);
    case 1:  // exact, so that grid points lie exactly on the edge
      return std::ldexp(1.0F, -data.ConsumeIntegralInRange(2, 12));
    default:
      break;
  }
  const float usual = 1.0F / (30.0F * static_cast<float>(std::max(N, 1)));
  return usual * static_cast<float>(data.ConsumeIntegralInRange(1, 512)) / 64.0F;
}

float anyFineResolution(FuzzedDataProvider& data, float coarse) {
  if (data.ConsumeIntegralInRange(0, 3) == 0) {
    return anyFloat(data);
  }
  return coarse / (static_cast<float>(data.ConsumeIntegralInRange(1, 1024)) / 4.0F);
}

coder::array<float, 2> optionalValue(FuzzedDataProvider& data, float value) {
  switch (data.ConsumeIntegralInRange(0, 7)) {
    case 0:
      return {};
    case 1:
      return support::matrix<float>(1, 0, {});
    case 2:
      return support::matrix<float>(0, data.ConsumeIntegralInRange(0, 3), {});
    case 3:
      return support::matrix<float>(2, 2, {value, anyFloat(data), 1.0F, 2.0F});
    default:
      return support::row({value});
  }
}

bool refusedOrSmall(float coarseResolution, float fineResolution) {
  const float L = coarsePoints(coarseResolution);
  const float n = finePoints(coarseResolution, fineResolution);
  const bool longFFT = L > 0x1p13F && L <= 0x1p24F;
  const bool longGrid = n > 0x1p10F && n < 0x1p31F;
  // As many peaks as half the coarse points, each with its fine grid.
  const bool manyGrids = L <= 0x1p13F && n <= 0x1p10F && L * n > 0x1p18F;
  return !longFFT && !longGrid && !manyGrids;
}

}  // namespace fuzz
