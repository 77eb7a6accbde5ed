#include "flightpath/api/music_parameters.h"

#include <gtest/gtest.h>

#include <vector>

#include "flightpath/runtime/nonfinite.h"
#include "tests/support/builders.h"
#include "tests/support/same_bits.h"

using support::matrix;
using support::row;
using support::sameBits;

namespace {

using Matrix = coder::array<float, 2>;

struct RowRule {
  Matrix given;
  Matrix stored;
  const char* why;
};

/// What becomes of an array that is stored as a row.
std::vector<RowRule> rowRules() {
  return {
      {row({0.1F, 0.2F}), row({0.1F, 0.2F}), "a row is stored whole"},
      {matrix(2, 3, std::vector<float>{1, 2, 3, 4, 5, 6}), row({1.0F, 2.0F, 3.0F}),
       "2 x 3 keeps its first three stored elements"},
      {matrix(3, 1, std::vector<float>{7, 8, 9}), row({7.0F}), "a column keeps its first element"},
      {matrix(3, 2, std::vector<float>{1, 2, 3, 4, 5, 6}), row({1.0F, 2.0F}), "3 x 2 keeps two"},
      {Matrix(), matrix(1, 0, std::vector<float>()), "never sized: 1 x 0"},
      {matrix(2, 0, std::vector<float>()), matrix(1, 0, std::vector<float>()), "no columns"},
      {matrix(0, 4, std::vector<float>()), matrix(1, 0, std::vector<float>()),
       "columns without an element: absent"},
      {row({rtNaNF, rtInfF, -0.0F}), row({rtNaNF, rtInfF, -0.0F}), "no value is checked"},
  };
}

/// Arguments of `MUSICParameters::init`, each its own recognisable value.
struct InitArguments {
  Matrix grid = row({0.1F, 0.2F});
  float count = 3.0F;
  int countSize[2] = {1, 1};

  void fill(MUSICParameters& p) const { p.init(grid, &count, countSize, 1, 2, 255, 0.01F, 0.001F); }
};

}  // namespace

TEST(b_MUSICParameters, StartsWithoutStorage) {
  const b_MUSICParameters p;
  for (const Matrix* a : {&p.NormalizedScanningFreqs, &p.InputNumSignals}) {
    EXPECT_EQ(a->data, nullptr);
    EXPECT_EQ(a->numel, 0);
    EXPECT_EQ(a->capacity, 0);
    EXPECT_EQ(a->size[0], 0);
    EXPECT_EQ(a->size[1], 0);
  }
}

TEST(b_MUSICParametersInit, MakesEmptyRowsWithRoomForSixteen) {
  b_MUSICParameters p;
  p.init();
  for (const Matrix* a : {&p.NormalizedScanningFreqs, &p.InputNumSignals}) {
    EXPECT_EQ(a->size[0], 1);
    EXPECT_EQ(a->size[1], 0);
    EXPECT_EQ(a->numel, 0);
    EXPECT_EQ(a->capacity, 16);
    EXPECT_NE(a->data, nullptr);
    EXPECT_TRUE(a->owner);
  }
}

TEST(b_MUSICParametersInit, KeepsStorageThatIsThereWithItsContents) {
  b_MUSICParameters p;
  p.set_NormalizedScanningFreqs(row(std::vector<float>(20, 0.25F)));
  const float* const buffer = p.NormalizedScanningFreqs.data;
  p.init();
  EXPECT_EQ(p.NormalizedScanningFreqs.size[0], 1);
  EXPECT_EQ(p.NormalizedScanningFreqs.size[1], 0);
  EXPECT_EQ(p.NormalizedScanningFreqs.numel, 0);
  EXPECT_EQ(p.NormalizedScanningFreqs.capacity, 32);
  ASSERT_EQ(p.NormalizedScanningFreqs.data, buffer);
  EXPECT_EQ(buffer[0], 0.25F);
  EXPECT_EQ(buffer[19], 0.25F);
}

TEST(b_MUSICParametersInit, LeavesSwitchesAndResolutions) {
  b_MUSICParameters p;
  p.set_ForceClassic(1);
  p.set_OptPhaseSlopeForOneSignalCase(2);
  p.set_MeasurementContinual(3);
  p.set_CoarseResolution(0.5F);
  p.set_FineResolution(0.25F);
  p.init();
  EXPECT_EQ(p.ForceClassic, 1);
  EXPECT_EQ(p.OptPhaseSlopeForOneSignalCase, 2);
  EXPECT_EQ(p.MeasurementContinual, 3);
  EXPECT_EQ(p.CoarseResolution, 0.5F);
  EXPECT_EQ(p.FineResolution, 0.25F);
}

TEST(b_MUSICParametersSetters, TakeEveryByteForASwitchOfTheirOwn) {
  b_MUSICParameters p;
  for (int value = 0; value < 256; ++value) {
    p.set_ForceClassic(static_cast<unsigned char>(value));
    p.set_OptPhaseSlopeForOneSignalCase(static_cast<unsigned char>((value + 1) % 256));
    p.set_MeasurementContinual(static_cast<unsigned char>((value + 2) % 256));
    EXPECT_EQ(p.ForceClassic, value);
    EXPECT_EQ(p.OptPhaseSlopeForOneSignalCase, (value + 1) % 256);
    EXPECT_EQ(p.MeasurementContinual, (value + 2) % 256);
  }
}

TEST(b_MUSICParametersSetters, TakeEveryResolution) {
  b_MUSICParameters p;
  for (const float value : {0.0F, -0.0F, -1.0F, 1.0e-45F, 3.0e38F, rtInfF, rtMinusInfF, rtNaNF}) {
    p.set_FineResolution(0.125F);
    p.set_CoarseResolution(value);
    EXPECT_TRUE(sameBits(p.CoarseResolution, value)) << value;
    EXPECT_EQ(p.FineResolution, 0.125F) << "the other field stays";
    p.set_CoarseResolution(0.5F);
    p.set_FineResolution(value);
    EXPECT_TRUE(sameBits(p.FineResolution, value)) << value;
    EXPECT_EQ(p.CoarseResolution, 0.5F) << "the other field stays";
  }
}

TEST(b_MUSICParametersSetters, StoreArraysAsRows) {
  for (const RowRule& rule : rowRules()) {
    b_MUSICParameters p;
    p.init();
    p.set_NormalizedScanningFreqs(rule.given);
    EXPECT_TRUE(sameBits(p.NormalizedScanningFreqs, rule.stored)) << rule.why;
    EXPECT_EQ(p.InputNumSignals.numel, 0) << "the other field stays";
    p.init();
    p.set_InputNumSignals(rule.given);
    EXPECT_TRUE(sameBits(p.InputNumSignals, rule.stored)) << rule.why;
    EXPECT_EQ(p.NormalizedScanningFreqs.numel, 0) << "the other field stays";
  }
}

TEST(b_MUSICParametersSetters, CopyTheValues) {
  Matrix grid = row({0.1F, 0.2F});
  b_MUSICParameters p;
  p.set_NormalizedScanningFreqs(grid);
  grid[0] = 9.0F;
  EXPECT_TRUE(sameBits(p.NormalizedScanningFreqs, row({0.1F, 0.2F})));
}

TEST(MUSICParameters, StartsWithAnEmptyGrid) {
  const MUSICParameters p;
  EXPECT_EQ(p.NormalizedScanningFreqs.data, nullptr);
  EXPECT_EQ(p.NormalizedScanningFreqs.numel, 0);
}

TEST(MUSICParameters, HookReturnsEveryByteUnchanged) {
  for (int value = 0; value < 256; ++value) {
    EXPECT_EQ(MUSICParameters::a__validate_ForceClassic(static_cast<unsigned char>(value)), value);
  }
}

TEST(MUSICParametersSetters, TakeEveryByteForASwitchOfTheirOwn) {
  MUSICParameters p;
  for (int value = 0; value < 256; ++value) {
    p.set_ForceClassic(static_cast<unsigned char>(value));
    p.set_OptPhaseSlopeForOneSignalCase(static_cast<unsigned char>((value + 1) % 256));
    p.set_MeasurementContinual(static_cast<unsigned char>((value + 2) % 256));
    EXPECT_EQ(p.ForceClassic, value);
    EXPECT_EQ(p.OptPhaseSlopeForOneSignalCase, (value + 1) % 256);
    EXPECT_EQ(p.MeasurementContinual, (value + 2) % 256);
  }
}

TEST(MUSICParametersSetters, TakeEveryResolution) {
  MUSICParameters p;
  for (const float value : {0.0F, -0.0F, -1.0F, 1.0e-45F, 3.0e38F, rtInfF, rtMinusInfF, rtNaNF}) {
    p.set_FineResolution(0.125F);
    p.set_CoarseResolution(value);
    EXPECT_TRUE(sameBits(p.CoarseResolution, value)) << value;
    EXPECT_EQ(p.FineResolution, 0.125F) << "the other field stays";
    p.set_CoarseResolution(0.5F);
    p.set_FineResolution(value);
    EXPECT_TRUE(sameBits(p.FineResolution, value)) << value;
    EXPECT_EQ(p.CoarseResolution, 0.5F) << "the other field stays";
  }
}

TEST(MUSICParametersSetters, StoreTheGridAsARow) {
  for (const RowRule& rule : rowRules()) {
    EXPECT_NO_THROW(MUSICParameters::a__validate_NormalizedScanningFreqs(rule.given)) << rule.why;
    MUSICParameters p;
    InitArguments().fill(p);
    p.set_NormalizedScanningFreqs(rule.given);
    EXPECT_TRUE(sameBits(p.NormalizedScanningFreqs, rule.stored)) << rule.why;
    EXPECT_EQ(p.InputNumSignals.data, 3.0F) << "the other field stays";
  }
}

TEST(MUSICParametersInit, StoresEveryArgumentInItsField) {
  MUSICParameters p;
  InitArguments().fill(p);
  EXPECT_TRUE(sameBits(p.NormalizedScanningFreqs, row({0.1F, 0.2F})));
  EXPECT_EQ(p.InputNumSignals.data, 3.0F);
  EXPECT_EQ(p.InputNumSignals.size[0], 1);
  EXPECT_EQ(p.InputNumSignals.size[1], 1);
  EXPECT_EQ(p.ForceClassic, 1);
  EXPECT_EQ(p.OptPhaseSlopeForOneSignalCase, 2) << "a byte above 1 is kept";
  EXPECT_EQ(p.MeasurementContinual, 255) << "a byte above 1 is kept";
  EXPECT_EQ(p.CoarseResolution, 0.01F);
  EXPECT_EQ(p.FineResolution, 0.001F);
}

TEST(MUSICParametersInit, StoresTheGridAsARow) {
  for (const RowRule& rule : rowRules()) {
    InitArguments arguments;
    arguments.grid = rule.given;
    MUSICParameters p;
    arguments.fill(p);
    EXPECT_TRUE(sameBits(p.NormalizedScanningFreqs, rule.stored)) << rule.why;
  }
}

TEST(MUSICParametersCount, IsTakenWhereTheProductOfItsExtentsIsPositive) {
  struct Row {
    int size[2];
    bool taken;
    const char* why;
  };
  const Row rows[] = {
      {{1, 1}, true, "given"},
      {{2, 3}, true, "the first value of several"},
      {{65536, 65536}, true, "a product beyond 32 bits"},
      {{0, 0}, false, "absent"},
      {{1, 0}, false, "absent: no columns"},
      {{0, 1}, false, "absent: no rows"},
      {{-1, 1}, false, "negative extent"},
      {{-2, -1}, true, "a positive product of two"},
  };
  for (const Row& r : rows) {
    InitArguments first;
    MUSICParameters p;
    first.fill(p);
    const float count = 5.0F;
    p.init(first.grid, r.taken ? &count : nullptr, r.size, 0, 0, 0, 0.5F, 0.5F);
    MUSICParameters bySetter;
    first.fill(bySetter);
    EXPECT_NO_THROW(MUSICParameters::a__validate_InputNumSignals(nullptr, r.size)) << r.why;
    bySetter.set_InputNumSignals(r.taken ? &count : nullptr, r.size);
    for (const BoundedNumSignals& held : {p.InputNumSignals, bySetter.InputNumSignals}) {
      EXPECT_EQ(held.data, r.taken ? 5.0F : 3.0F) << r.why;
      EXPECT_EQ(held.size[0], r.size[0]) << r.why;
      EXPECT_EQ(held.size[1], r.size[1]) << r.why;
    }
    EXPECT_EQ(bySetter.ForceClassic, 1) << "the other fields stay";
  }
}

TEST(MUSICParametersInit, OverwritesAnEarlierOne) {
  MUSICParameters p;
  InitArguments().fill(p);
  const int absent[2] = {1, 0};
  p.init(Matrix(), nullptr, absent, 0, 0, 0, rtNaNF, rtInfF);
  EXPECT_EQ(p.NormalizedScanningFreqs.size[0], 1);
  EXPECT_EQ(p.NormalizedScanningFreqs.size[1], 0);
  EXPECT_EQ(p.ForceClassic, 0);
  EXPECT_EQ(p.OptPhaseSlopeForOneSignalCase, 0);
  EXPECT_EQ(p.MeasurementContinual, 0);
  EXPECT_TRUE(sameBits(p.CoarseResolution, rtNaNF));
  EXPECT_TRUE(sameBits(p.FineResolution, rtInfF));
}
