#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <thread>
#include <vector>

#include "flightpath/ranging/detail/thread_team.h"
#include "flightpath/ranging/ranger.h"
#include "tests/support/ranging.h"

/// The signals of a process are its host's: no thread of a Ranger takes one.
namespace {

using flightpath::ThreadTeam;

sigset_t maskOfThisThread() {
  sigset_t mask;
  pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  return mask;
}

/// The signals that a mask holds, of those that a program may block: not SIGKILL, SIGSTOP and the two
/// that the C library keeps for itself.
std::vector<int> blockedIn(const sigset_t& mask) {
  std::vector<int> blocked;
  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    const bool ofTheLibrary = signal > SIGSYS && signal < SIGRTMIN;
    if (signal != SIGKILL && signal != SIGSTOP && !ofTheLibrary &&
        sigismember(&mask, signal) == 1) {
      blocked.push_back(signal);
    }
  }
  return blocked;
}

std::vector<int> everySignal() {
  sigset_t all;
  sigfillset(&all);
  return blockedIn(all);
}

/// Blocks one signal in this thread, and in those that it makes, while it lives.
class Blocked {
 public:
  explicit Blocked(int signal) {
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, signal);
    pthread_sigmask(SIG_BLOCK, &one, &before_);
  }
  ~Blocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  Blocked(const Blocked&) = delete;
  Blocked& operator=(const Blocked&) = delete;

 private:
  sigset_t before_;
};

std::atomic<int> handled = 0;
std::atomic<pthread_t> handler = pthread_t{};

void noteThread(int /*signal*/) {
  handler = pthread_self();
  ++handled;
}

void handleByNoting(int signal) {
  struct sigaction action = {};
  action.sa_handler = noteThread;
  sigaction(signal, &action, nullptr);
}

/// The signal that a thread of the host's own gets by waiting for it; -1 for none within ten seconds.
int waitedForElsewhere(int signal) {
  int got = 0;
  std::thread([&] {
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, signal);
    const timespec longest = {10, 0};
    got = sigtimedwait(&one, nullptr, &longest);
  }).join();
  return got;
}

void estimateOn(flightpath::Ranger& ranger) {
  const support::Samples x(64 * 40, creal32_T{1.0F, 0.5F});
  ranger.estimate({x, 64});
}

/// The tests below send signals to their whole process, so each has one. OpenBLAS makes threads of its
/// own while it is loaded, which do take signals: not here.
class SignalsOfAProcess : public testing::Test {
 protected:
  SignalsOfAProcess() {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    setenv("OPENBLAS_NUM_THREADS", "1", 1);
  }
  ~SignalsOfAProcess() override { unsetenv("OPENBLAS_NUM_THREADS"); }
};

}  // namespace

TEST(SignalsOfATeam, AreBlockedInEveryThreadButTheCallers) {
  const std::vector<int> before = blockedIn(maskOfThisThread());
  ThreadTeam team(4);
  std::vector<std::vector<int>> blocked(4);
  team.run([&](unsigned number) { blocked[number] = blockedIn(maskOfThisThread()); });
  EXPECT_EQ(blocked[0], before);
  for (unsigned number = 1; number < 4; ++number) {
    EXPECT_EQ(blocked[number], everySignal()) << number;
  }
}

TEST(SignalsOfATeam, TheCallersMaskComesBackAsItWas) {
  for (const unsigned size : {1U, 4U}) {
    const Blocked usr2(SIGUSR2);
    const std::vector<int> before = blockedIn(maskOfThisThread());
    const ThreadTeam team(size);
    EXPECT_EQ(blockedIn(maskOfThisThread()), before) << size;
  }
}

TEST(SignalsOfATeam, OneSentToItsThreadIsNeverHandledThere) {
  handleByNoting(SIGUSR1);
  ThreadTeam team(3);
  std::vector<pthread_t> threads(3);
  team.run([&](unsigned number) { threads[number] = pthread_self(); });
  handled = 0;
  for (int round = 0; round < 100; ++round) {
    pthread_kill(threads[1], SIGUSR1);
    pthread_kill(threads[2], SIGUSR1);
    team.run([](unsigned) {});
  }
  EXPECT_EQ(handled, 0);
  pthread_kill(threads[0], SIGUSR1);
  EXPECT_EQ(handled, 1) << "the caller's own are handled";
  std::signal(SIGUSR1, SIG_DFL);
}

TEST_F(SignalsOfAProcess, AreNeverHandledInARangersThread) {
  const auto statement = [] {
    handleByNoting(SIGUSR1);
    flightpath::Ranger ranger(64, support::options({}, 4));
    int handledWhileBlocked = 0;
    {
      const Blocked usr1(SIGUSR1);
      for (int round = 0; round < 50; ++round) {
        kill(getpid(), SIGUSR1);
        estimateOn(ranger);
      }
      handledWhileBlocked = handled;
    }
    std::_Exit(handledWhileBlocked == 0 && handled == 1 && handler == pthread_self() ? 0 : 1);
  };
  EXPECT_EXIT(statement(), testing::ExitedWithCode(0), "");
}

// A signal that every thread of the host blocks, to wait for it in one: a thread of the Ranger that took
// it would end the process.
TEST_F(SignalsOfAProcess, ReachTheThreadThatWaitsForThem_WhenTheRangerWasMadeBefore) {
  const auto statement = [] {
    flightpath::Ranger ranger(64, support::options({}, 4));
    const Blocked term(SIGTERM);
    kill(getpid(), SIGTERM);
    estimateOn(ranger);
    std::_Exit(waitedForElsewhere(SIGTERM) == SIGTERM ? 0 : 1);
  };
  EXPECT_EXIT(statement(), testing::ExitedWithCode(0), "");
}

TEST_F(SignalsOfAProcess, ReachTheThreadThatWaitsForThem_WhenTheRangerWasMadeAfter) {
  const auto statement = [] {
    const Blocked term(SIGTERM);
    flightpath::Ranger ranger(64, support::options({}, 4));
    kill(getpid(), SIGTERM);
    estimateOn(ranger);
    std::_Exit(waitedForElsewhere(SIGTERM) == SIGTERM ? 0 : 1);
  };
  EXPECT_EXIT(statement(), testing::ExitedWithCode(0), "");
}
