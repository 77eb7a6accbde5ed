#include "flightpath/toolbox/detail/call_guard.h"

#include <cblas.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "flightpath/toolbox/detail/blas.h"
#include "flightpath/toolbox/detail/lapack.h"
#include "tests/support/call_counter.h"
#include "tests/support/forked_child.h"
#include "tests/threads/together.h"

/// Who may be inside BLAS and LAPACK at the same time. All checks are of the class EXACT.
namespace {

using flightpath::CallGuard;
using flightpath::callsTakeTurns;

constexpr int n = 4;
constexpr std::size_t elements = n * n;

template <class T>
std::vector<T> identity() {
  std::vector<T> A(elements);
  for (std::size_t i = 0; i < n; ++i) {
    if constexpr (std::is_same_v<T, creal32_T>) {
      A[i * (n + 1)] = {1.0F, 0.0F};
    } else {
      A[i * (n + 1)] = 1;
    }
  }
  return A;
}

void multiply() {
  const auto A = identity<creal32_T>();
  std::vector<creal32_T> C(elements);
  const flightpath::blas::Operand operand = {A.data(), n, flightpath::blas::Transpose::None};
  flightpath::blas::multiply(n, n, n, operand, operand, C.data());
}

void multiplyReal() {
  const auto A = identity<double>();
  std::vector<double> C(elements);
  flightpath::blas::multiplyReal(n, n, n, A.data(), A.data(), C.data());
}

void norm() { flightpath::blas::norm2(identity<float>()); }

void hermitianEigen() {
  auto A = identity<creal32_T>();
  std::vector<float> eigenvalues(n);
  flightpath::lapack::hermitianEigen(n, A.data(), eigenvalues.data());
}

void generalEigen() {
  auto A = identity<creal32_T>();
  std::vector<creal32_T> eigenvalues(n);
  std::vector<creal32_T> eigenvectors(elements);
  std::vector<float> scale(n);
  flightpath::lapack::generalEigen(n, A.data(), eigenvalues.data(), eigenvectors.data(),
                                   scale.data());
}

void choleskyFactor() {
  auto A = identity<double>();
  flightpath::lapack::choleskyFactor(n, A.data());
}

void symmetricEigen() {
  auto A = identity<double>();
  std::vector<double> eigenvalues(n);
  std::vector<double> work(elements);
  flightpath::lapack::symmetricEigen(n, A.data(), eigenvalues.data(), work.data());
}

constexpr auto tridiagonalWork = static_cast<std::size_t>(flightpath::lapack::tridiagonalWork) * n;

void tridiagonalise() {
  auto A = identity<double>();
  std::vector<double> diagonal(n);
  std::vector<double> offDiagonal(n);
  std::vector<double> tau(n);
  std::vector<double> work(tridiagonalWork);
  flightpath::lapack::tridiagonalise(n, A.data(), diagonal.data(), offDiagonal.data(), tau.data(),
                                     work.data());
}

void tridiagonalEigenvalues() {
  std::vector<double> diagonal(n, 1.0);
  std::vector<double> offDiagonal(n, 0.1);
  flightpath::lapack::tridiagonalEigenvalues(n, diagonal.data(), offDiagonal.data());
}

void tridiagonalEigenvectors() {
  const std::vector<double> diagonal(n, 1.0);
  const std::vector<double> offDiagonal(n, 0.1);
  const double eigenvalue = 1.0;
  std::vector<double> vector(n);
  std::vector<double> work(tridiagonalWork);
  std::vector<std::int32_t> whole(4 * n);
  flightpath::lapack::tridiagonalEigenvectors(n, diagonal.data(), offDiagonal.data(), 1,
                                              &eigenvalue, vector.data(), work.data(),
                                              whole.data());
}

void applyReflections() {
  const auto A = identity<double>();
  const std::vector<double> tau(n);
  std::vector<double> vector(n);
  std::vector<double> work(tridiagonalWork);
  flightpath::lapack::applyReflections(n, A.data(), tau.data(), 1, vector.data(), work.data());
}

struct Call {
  const char* name;
  void (*make)();
  bool isOneByOne = false;  // whatever the build
};

const Call everyCall[] = {
    {"useOneThread", flightpath::blas::useOneThread, true},
    {"OneThread", [] { const flightpath::blas::OneThread oneThread; }, true},
    {"multiply", multiply},
    {"multiplyReal", multiplyReal},
    {"norm2", norm},
    {"hermitianEigen", hermitianEigen},
    {"generalEigen", generalEigen},
    {"choleskyFactor", choleskyFactor},
    {"symmetricEigen", symmetricEigen},
    {"tridiagonalise", tridiagonalise},
    {"tridiagonalEigenvalues", tridiagonalEigenvalues},
    {"tridiagonalEigenvectors", tridiagonalEigenvectors},
    {"applyReflections", applyReflections},
};

/// How many threads of four are in the call at the same time, at most.
int mostAtOnce(const Call& call) {
  const support::CallsAtOnce calls;
  support::together(4, [&](int) {
    for (int round = 0; round < 10; ++round) {
      call.make();
    }
  });
  return calls.most();
}

/// The library asks OpenBLAS once how it was built: each of these tests starts the program anew.
class CallsWithOpenBLAS : public testing::TestWithParam<int> {
 protected:
  CallsWithOpenBLAS() {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    setenv(support::pretendedOpenBLAS, std::to_string(GetParam()).c_str(), 1);
  }
  ~CallsWithOpenBLAS() override { unsetenv(support::pretendedOpenBLAS); }
};

class TheSerialOrTheOpenMPBuild : public CallsWithOpenBLAS {};
class TheOpenMPBuild : public CallsWithOpenBLAS {};
class TheThreadedBuild : public CallsWithOpenBLAS {};

}  // namespace

TEST(CallsTakeTurns, UnlessOpenBLASHasThreadsOfItsOwn) {
  EXPECT_TRUE(callsTakeTurns(0)) << "serial";
  EXPECT_FALSE(callsTakeTurns(1)) << "threads of its own";
  EXPECT_TRUE(callsTakeTurns(2)) << "OpenMP";
  EXPECT_TRUE(callsTakeTurns(3)) << "not known";
  EXPECT_TRUE(callsTakeTurns(-1)) << "not known";
}

TEST(CallGuard, InTurnLetsOneInAtATime) {
  constexpr int rounds = 20000;
  int counter = 0;  // plain on purpose: the guard is what protects it
  support::together(2, [&](int) {
    for (int i = 0; i < rounds; ++i) {
      const CallGuard guard(true);
      ++counter;
    }
  });
  EXPECT_EQ(counter, 2 * rounds);
}

TEST(CallGuard, OtherwiseLetsEveryoneIn) {
  const CallGuard first(false);
  const CallGuard second(false);
  const CallGuard inTurn(true);
  SUCCEED() << "came back";
}

// The fork waits for the other thread, which is not there in the child to end its call.
TEST(CallGuard, IsFreeInAChildThatIsForkedDuringACallOfAnotherThread) {
  std::atomic<bool> isCalling = false;
  std::thread other([&] {
    const CallGuard guard(true);
    isCalling = true;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  });
  while (!isCalling) {
    std::this_thread::yield();
  }
  EXPECT_TRUE(support::holdsInChild([] {
    const CallGuard guard(true);
    return true;
  }));
  other.join();
}

TEST_P(TheSerialOrTheOpenMPBuild, IsCalledByOneThreadAtATime) {
  for (const Call& call : everyCall) {
    EXPECT_EXIT(std::_Exit(mostAtOnce(call)), testing::ExitedWithCode(1), "") << call.name;
  }
}

INSTANTIATE_TEST_SUITE_P(ByItsAnswer, TheSerialOrTheOpenMPBuild, testing::Values(0, 2, 3));

// It keeps the count of threads for each calling thread: every call takes over that of the process.
TEST_P(TheOpenMPBuild, IsGivenTheCountOfThreadsOfTheProcessBeforeEachCall) {
  const auto statement = [] {
    const std::string threads = "blas threads " + std::to_string(openblas_get_num_threads());
    bool given = true;
    for (const Call& call : everyCall) {
      support::CallLog log;
      call.make();
      const support::CallLines lines = log.take();
      given = given && !lines.empty() && lines.front() == threads;
    }
    std::_Exit(given ? 0 : 1);
  };
  EXPECT_EXIT(statement(), testing::ExitedWithCode(0), "");
}

INSTANTIATE_TEST_SUITE_P(ByItsAnswer, TheOpenMPBuild, testing::Values(2));

TEST_P(TheThreadedBuild, IsCalledBySeveralThreadsAtOnce) {
  for (const Call& call : everyCall) {
    const auto statement = [&] { std::_Exit((mostAtOnce(call) > 1) == !call.isOneByOne ? 0 : 1); };
    EXPECT_EXIT(statement(), testing::ExitedWithCode(0), "") << call.name;
  }
}

INSTANTIATE_TEST_SUITE_P(ByItsAnswer, TheThreadedBuild, testing::Values(1));
