#include "tests/refusal/solver_memory.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "tests/refusal/estimates.h"
#include "tests/refusal/failure_points.h"
#include "tests/refusal/matrices.h"
#include "tests/refusal/refused_new.h"

// The solvers say so when they get no work space, by a negative info. The outcome is then the same as
// that of an argument that they refuse: NaN eigenvalues and eigenvectors, hence a count of 0 and no path.

namespace refusal {
namespace {

constexpr float NaN = std::numeric_limits<float>::quiet_NaN();
constexpr int outOfWorkSpace = -1010;  // LAPACK_WORK_MEMORY_ERROR

template <class T>
std::vector<T> allNaN(int count);

template <>
std::vector<float> allNaN(int count) {
  return std::vector<float>(static_cast<std::size_t>(count), NaN);
}

template <>
std::vector<creal32_T> allNaN(int count) {
  return std::vector<creal32_T>(static_cast<std::size_t>(count), {NaN, 0.0F});
}

ComplexMatrix matrixOfNaN(int order) {
  return support::matrix(order, order, allNaN<creal32_T>(order * order));
}

coder::array<float, 2> none() { return support::matrix(1, 0, std::vector<float>()); }

/// What a call leaves behind when its solver got no work space.
struct SolverCase {
  const char* name;
  MakeScenario make;
  std::string expected;
};

std::ostream& operator<<(std::ostream& out, const SolverCase& row) { return out << row.name; }

template <class Record>
std::string bits(Record record) {
  return bitsOf(record);
}

std::string unsolved() {
  return bits(
      Eigenpairs{matrixOfNaN(matrixOrder), support::column(allNaN<creal32_T>(matrixOrder))});
}

/// Solved as i A, its eigenvalues are 0 - i W: with W NaN their real parts stay 0.
std::string unsolvedSkew() {
  const std::vector<creal32_T> d(matrixOrder, {0.0F, NaN});
  return bits(Eigenpairs{matrixOfNaN(matrixOrder), support::column(d)});
}

std::string uncounted(int order) {
  return bits(Count{0.0F, matrixOfNaN(order), support::column(allNaN<float>(order))});
}

/// No path, whatever count was estimated or forced. On the FFT route the fine grids are empty.
std::string noPath(float numSignals) {
  ToFResult r;
  r.Distances = none();
  r.PeakValues = none();
  r.NumSignals = numSignals;
  r.ScannedDistances = none();
  return bits(r);
}

/// On the classic route the pseudo-spectrum is NaN at every point of the caller's grid.
std::string noPathOnGrid(const MUSICParameters& p) {
  MUSICResult r;
  r.NormalizedFreqs = none();
  r.PeakValues = support::matrix(0, 1, std::vector<float>());
  r.NumSignals = 3.0F;
  r.ScannedFreqs = p.NormalizedScanningFreqs;
  r.PseudoSpectrum = support::column(allNaN<float>(p.NormalizedScanningFreqs.numel));
  return bits(r);
}

std::string noFrequency(float numSignals) {
  MUSICResult r;
  r.NormalizedFreqs = none();
  r.PeakValues = none();
  r.NumSignals = numSignals;
  r.ScannedFreqs = none();
  return bits(r);
}

/// The closed form does without eigenvectors: what an undisturbed call gives.
std::string undisturbed(const MakeScenario& make) {
  const auto scenario = make();
  scenario->call();
  return scenario->results();
}

Samples samples() { return support::threeTones(numSamples); }

const RouteSettings& phaseSlope = support::allRoutes[0];
const RouteSettings& fft = support::allRoutes[1];
const RouteSettings& fftOnGrid = support::allRoutes[2];
const RouteSettings& classic = support::allRoutes[3];

std::unique_ptr<Scenario> inMetres(const RouteSettings& route) {
  return estimating(samples(), metres(route, true, numSamples));
}

std::unique_ptr<Scenario> inMetresUncounted() {
  return estimating(samples(), withoutForcedCount(metres(fft, true, numSamples)));
}

std::unique_ptr<Scenario> inOneDimension(const RouteSettings& route) {
  return estimating(samples(), normalised(route, true));
}

std::unique_ptr<Scenario> inOneDimensionUncounted() {
  return estimating(samples(), withoutForcedCount(normalised(fft, true)));
}

std::unique_ptr<Scenario> solving() {
  return filling<HermitianSolve>(hermitian(), [](const ComplexMatrix& A, HermitianSolve& s) {
    s.A = A;  // solved in place
    s.solve();
  });
}

std::vector<SolverCase> solverCases() {
  constexpr int smoothedOrder = 3 * samplesToCountIn / 4;
  const MakeScenario slopeInMetres = [] { return inMetres(phaseSlope); };
  const MakeScenario slope = [] { return inOneDimension(phaseSlope); };
  const MakeScenario slopeAtEntry = [] { return enteringAt(samples(), 1); };
  return {
      {"xsyheev", solving,
       bits(HermitianSolve{matrixOfNaN(matrixOrder), support::column(allNaN<float>(matrixOrder)),
                           outOfWorkSpace})},
      {"eig of a Hermitian matrix", [] { return decomposing(hermitian()); }, unsolved()},
      {"eig of a skew Hermitian matrix", [] { return decomposing(skewHermitian()); },
       unsolvedSkew()},
      {"eig of a general matrix", [] { return decomposing(general()); }, unsolved()},
      {"determineNumSignals with smoothing", [] { return counting(1); }, uncounted(smoothedOrder)},
      {"determineNumSignals without", [] { return counting(0); }, uncounted(samplesToCountIn)},
      {"MUSICToF with an estimated count", inMetresUncounted, noPath(0.0F)},
      {"MUSICToF by FFT", [] { return inMetres(fft); }, noPath(3.0F)},
      {"MUSICToF by FFT on the grid", [] { return inMetres(fftOnGrid); }, noPath(3.0F)},
      {"MUSICToF by phase slope", slopeInMetres, undisturbed(slopeInMetres)},
      {"MUSIC1D with an estimated count", inOneDimensionUncounted, noFrequency(0.0F)},
      {"MUSIC1D by FFT", [] { return inOneDimension(fft); }, noFrequency(3.0F)},
      {"MUSIC1D classic", [] { return inOneDimension(classic); },
       noPathOnGrid(normalised(classic, true))},
      {"MUSIC1D by phase slope", slope, undisturbed(slope)},
      {"entry point with an estimated count", [] { return enteringAt(samples(), {}); },
       bits(ToFEstimate())},
      {"entry point with a forced count", [] { return enteringAt(samples(), 3); },
       bits(ToFEstimate())},
      {"entry point forced to one", slopeAtEntry, undisturbed(slopeAtEntry)},
  };
}

/// One failure point. False: the call came to its end before request k.
bool visit(const SolverCase& row, int k, const std::string& reference) {
  const auto scenario = row.make();
  const std::string inputs = scenario->inputs();
  bool refused = false;
  {
    const RefusingSolverMemory refusing(k);
    EXPECT_EQ(outcomeOf(*scenario), Outcome::Succeeded);
    refused = RefusingSolverMemory::refused();
  }
  EXPECT_TRUE(scenario->results() == (refused ? row.expected : reference)) << "what is left behind";
  EXPECT_TRUE(scenario->inputs() == inputs) << "an input changed";
  EXPECT_EQ(outcomeOf(*scenario), Outcome::Succeeded);
  EXPECT_TRUE(scenario->results() == reference) << "the call after the refusal";
  return refused;
}

class SolverMemory : public testing::TestWithParam<SolverCase> {
 protected:
  void SetUp() override {
    if (!canRefuseSolverMemory()) {
      GTEST_SKIP() << "malloc belongs to a sanitizer here, or LAPACKE to the BLAS";
    }
  }
};

TEST_P(SolverMemory, EveryRefusalGivesTheOutcomeOfAFailedSolverAndTheNextCallIsRight) {
  const std::string reference = undisturbed(GetParam().make);
  int k = 1;
  bool refused = true;
  while (refused && !HasFailure()) {
    SCOPED_TRACE(testing::Message() << "request " << k);
    const long before = liveBlocks();
    refused = visit(GetParam(), k, reference);
    if (!HasFailure()) {
      EXPECT_EQ(liveBlocks(), before) << "blocks of operator new";
    }
    k += refused ? 1 : 0;
  }
  EXPECT_GT(k, 1) << "a case without a request shows nothing";
  countVisited("malloc inside LAPACKE", k - 1);
}

std::string solverTestName(const testing::TestParamInfo<SolverCase>& info) {
  return identifier(info.param.name);
}

INSTANTIATE_TEST_SUITE_P(Lapacke, SolverMemory, testing::ValuesIn(solverCases()), solverTestName);

/// The structured engine hands its work space to the solvers: there is nothing to refuse.
TEST(SolverMemory, IsNotAskedForByTheRanger) {
  if (!canRefuseSolverMemory()) {
    GTEST_SKIP() << "malloc belongs to a sanitizer here, or LAPACKE to the BLAS";
  }
  for (const std::optional<unsigned char> forced :
       {std::optional<unsigned char>(), std::optional<unsigned char>(3),
        std::optional<unsigned char>(255)}) {
    flightpath::RangingOptions how;
    how.Method = flightpath::RangingMethod::Music;
    how.SubcarrierSpacing = 312500.0;
    how.NumPaths = forced;
    flightpath::Ranger ranger(numSamples, how);
    const Samples x = samples();
    const RefusingSolverMemory refusing(1);
    ranger.estimate({x.data, numSamples, numSamples});
    EXPECT_EQ(RefusingSolverMemory::requests(), 0);
  }
}

/// Nor by the direct path's: a solver that failed for want of memory would look like one that did not
/// converge.
TEST(SolverMemory, IsNotAskedForByLineOfSight) {
  if (!canRefuseSolverMemory()) {
    GTEST_SKIP() << "malloc belongs to a sanitizer here, or LAPACKE to the BLAS";
  }
  flightpath::LineOfSightOptions how;
  how.SubcarrierSpacing = 312500.0;
  const RefusingSolverMemory refusing(1);
  const flightpath::LineOfSight lineOfSight(numSamples, how);
  EXPECT_EQ(RefusingSolverMemory::requests(), 0);
}

}  // namespace
}  // namespace refusal
