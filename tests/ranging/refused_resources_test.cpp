#include <dlfcn.h>
#include <fftw3.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>
#include <system_error>

#include "flightpath/ranging/detail/thread_team.h"
#include "flightpath/ranging/ranger.h"
#include "tests/support/columns.h"
#include "tests/support/forked_child.h"
#include "tests/support/ranging.h"

/// What a Ranger does where the system refuses it a plan or a thread.
namespace {

std::atomic<bool> planRefused = false;

}  // namespace

// In front of FFTW's function of the same name, in this program.
extern "C" fftwf_plan fftwf_plan_dft_c2r_1d(int n, fftwf_complex* in, float* out, unsigned flags) {
  if (planRefused) {
    return nullptr;
  }
  static const auto next =
      reinterpret_cast<decltype(fftwf_plan_dft_c2r_1d)*>(dlsym(RTLD_NEXT, "fftwf_plan_dft_c2r_1d"));
  return next(n, in, out, flags);
}

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool sanitized = true;
#elif defined(__has_feature)
constexpr bool sanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool sanitized = false;
#endif

constexpr std::size_t stackSize = std::size_t{256} << 20;

std::size_t addressSpaceInUse() {
  std::size_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

std::ptrdiff_t threadsRunning() {
  const std::filesystem::directory_iterator tasks("/proc/self/task");
  return std::distance(begin(tasks), end(tasks));
}

/// Whether this many threads run, within a second: a thread that was joined is listed a moment longer.
bool settleAt(std::ptrdiff_t threads) {
  for (int i = 0; i < 1000 && threadsRunning() != threads; ++i) {
    usleep(1000);
  }
  return threadsRunning() == threads;
}

/// While one lives, new threads have a stack of 256 MiB, and there is room for one and a half.
class RoomForOneThread {
 public:
  RoomForOneThread() {
    pthread_getattr_default_np(&before_);
    pthread_attr_t large;
    pthread_getattr_default_np(&large);
    pthread_attr_setstacksize(&large, stackSize);
    pthread_setattr_default_np(&large);
    pthread_attr_destroy(&large);
    getrlimit(RLIMIT_AS, &limit_);
    const rlimit tight = {addressSpaceInUse() + stackSize * 3 / 2, limit_.rlim_max};
    setrlimit(RLIMIT_AS, &tight);
  }
  ~RoomForOneThread() {
    setrlimit(RLIMIT_AS, &limit_);
    pthread_setattr_default_np(&before_);
    pthread_attr_destroy(&before_);
  }
  RoomForOneThread(const RoomForOneThread&) = delete;
  RoomForOneThread& operator=(const RoomForOneThread&) = delete;

 private:
  pthread_attr_t before_ = {};
  rlimit limit_ = {};
};

int calls(flightpath::ThreadTeam& team) {
  std::atomic<int> count = 0;
  team.run([&](unsigned) { ++count; });
  return count;
}

}  // namespace

TEST(RefusedPlan, IsBadAlloc_TheNextRangerWorks) {
  const support::Samples x(64, creal32_T{1.0F, 0.0F});
  planRefused = true;
  EXPECT_THROW(support::estimateAlone(x, support::options()), std::bad_alloc);
  planRefused = false;
  EXPECT_EQ(support::columnsOf(support::estimateAlone(x, support::options())).numSignals[0], 1);
}

TEST(RefusedThread, IsAnError_ThoseThatRanHaveEnded) {
  if (sanitized) {
    GTEST_SKIP() << "a sanitizer needs address space of its own";
  }
  const std::ptrdiff_t before = threadsRunning();
  {
    const RoomForOneThread tight;
    flightpath::ThreadTeam two(2);
    EXPECT_EQ(calls(two), 2) << "the caller and the one thread that there is room for";
  }
  {
    const RoomForOneThread tight;
    EXPECT_THROW(flightpath::ThreadTeam three(3), std::system_error);
    EXPECT_TRUE(settleAt(before));
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    EXPECT_EQ(sigismember(&mask, SIGTERM), 0) << "the caller takes its signals again";
  }
  flightpath::ThreadTeam three(3);
  EXPECT_EQ(calls(three), 3);
}

// A child starts threads of its own, once it needs them.
TEST(RefusedThread, OfAChildIsAnErrorOfTheFirstUse_TheNextTriesAgain) {
  if (sanitized) {
    GTEST_SKIP() << "a sanitizer needs address space of its own";
  }
  flightpath::ThreadTeam three(3);
  EXPECT_TRUE(support::holdsInChild([&] {
    bool isRefused = false;
    try {
      const RoomForOneThread tight;
      calls(three);
    } catch (const std::system_error&) {
      isRefused = true;
    }
    return isRefused && settleAt(1) && calls(three) == 3;
  }));
}
