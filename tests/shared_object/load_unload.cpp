// Loads and unloads the library a thousand times and estimates each time: it is really gone after
// each round, its answers stay the same, and memory, threads and file descriptors do not grow. At the end
// the process still forks.
//
//   load_unload <libflightpath.so> <plugin>

#include <dlfcn.h>
#include <flightpath/flightpath.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "plugin.h"
#include "process_state.h"
#include "simulated_channel.h"

namespace {

// What a host without the library at link time has to ask for.
constexpr const char* entryName = "_ZN5MUSIC11estimateToFERK3CSISt8optionalIhE";
using EntryFunction = decltype(MUSIC::estimateToF);

constexpr int rounds = 1000;

// The first rounds fill what the C library, the loader and FFTW's planner keep for the next time.
// The planner remembers every problem that it has met, how the arrays are aligned included, and the
// last of those come late.
constexpr int warmUpRounds = 200;

// The heap is counted to the byte: over 800 rounds, 20 bytes left behind by each are too many.
constexpr long heapSlack_B = 16000;

// Pages that the allocator has and has not given back between two rounds.
constexpr long residentSlack_KiB = 256;

[[noreturn]] void fail(const std::string& what) {
  std::fprintf(stderr, "load_unload: %s\n", what.c_str());
  std::exit(1);
}

class LoadedObject {
 public:
  explicit LoadedObject(const char* path) : handle_(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
    if (handle_ == nullptr) {
      fail(dlerror());
    }
  }
  ~LoadedObject() { dlclose(handle_); }
  LoadedObject(const LoadedObject&) = delete;
  LoadedObject& operator=(const LoadedObject&) = delete;

  template <class Function>
  Function* find(const char* name) const {
    void* const symbol = dlsym(handle_, name);
    if (symbol == nullptr) {
      fail(dlerror());
    }
    return reinterpret_cast<Function*>(symbol);
  }

 private:
  void* handle_;
};

struct Paths {
  const char* library;
  const char* plugin;
};

struct Round {
  std::vector<double> distances;
  Answers answers;
  bool operator==(const Round&) const = default;  // no answer is NaN: equal values, equal bits
};

std::vector<double> estimateThrough(const LoadedObject& library) {
  std::mt19937_64 random(5);
  const std::vector<creal32_T> samples =
      simulateChannel({{1e-7, 1.0, 0.4}, {2.5e-7, 1.0, 2.0}}, {64, 312500.0, 40.0}, random);
  return library.find<EntryFunction>(entryName)({312500, 64, samples.data()}, 2).Distances;
}

Round playRound(const Paths& paths, long& threadsWhileLoaded) {
  Round round = {};
  const LoadedObject library(paths.library);
  round.distances = estimateThrough(library);
  const LoadedObject plugin(paths.plugin);
  if (!plugin.find<AnswerFunction>(answerName)(&round.answers)) {
    fail("the plugin's distances are wrong");
  }
  threadsWhileLoaded = processState().threads;
  return round;
}

bool isLoaded(const char* path) {
  void* const handle = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
  if (handle != nullptr) {
    dlclose(handle);
  }
  return handle != nullptr;
}

void expectUnloaded(const Paths& paths) {
  if (isLoaded(paths.library) || isLoaded(paths.plugin)) {
    fail("still loaded after dlclose");
  }
  for (const std::string& object : mappedObjects()) {
    if (object.find("flightpath") != std::string::npos) {
      fail(object + " is still mapped after dlclose");
    }
  }
}

void expectAtMost(const char* what, long value, long limit) {
  if (value > limit) {
    fail(std::string(what) + " " + std::to_string(value) + ", at most " + std::to_string(limit));
  }
}

void expectFlat(const ProcessState& warm, const ProcessState& now) {
  expectAtMost("resident KiB", now.resident_KiB, warm.resident_KiB + residentSlack_KiB);
  expectAtMost("heap bytes", now.heapInUse_B, warm.heapInUse_B + heapSlack_B);
  expectAtMost("threads", now.threads, warm.threads);
  expectAtMost("file descriptors", now.descriptors, warm.descriptors);
}

/// What the library does around a fork is gone with it.
void expectForks() {
  const pid_t child = fork();
  if (child == 0) {
    _exit(0);
  }
  int status = 0;
  if (waitpid(child, &status, 0) != child || status != 0) {
    fail("a fork after dlclose ends badly");
  }
}

/// The highest of each.
ProcessState highest(const ProcessState& a, const ProcessState& b) {
  return {std::max(a.resident_KiB, b.resident_KiB), std::max(a.heapInUse_B, b.heapInUse_B),
          std::max(a.threads, b.threads), std::max(a.descriptors, b.descriptors)};
}

void print(const char* when, const ProcessState& state) {
  std::printf("   %-12s %ld KiB resident, %ld B of heap in use, %ld threads, %ld descriptors\n",
              when, state.resident_KiB, state.heapInUse_B, state.threads, state.descriptors);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    fail("usage: load_unload <libflightpath.so> <plugin>");
  }
  const Paths paths = {argv[1], argv[2]};
  const ProcessState before = processState();
  const std::set<std::string> objectsBefore = mappedObjects();

  std::optional<Round> first;
  ProcessState warm = {};
  ProcessState last = {};
  long threadsWhileLoaded = 0;
  for (int k = 0; k < rounds; ++k) {
    const Round round = playRound(paths, threadsWhileLoaded);
    first = first ? first : round;
    if (round != *first) {
      fail("the answers of round " + std::to_string(k) + " differ from those of the first");
    }
    expectUnloaded(paths);
    last = processState();
    expectAtMost("threads left behind", last.threads, before.threads);
    if (k < warmUpRounds) {
      warm = highest(warm, last);
    } else {
      expectFlat(warm, last);
    }
  }

  expectForks();

  print("before:", before);
  print("warmed up:", warm);
  print("at the end:", last);
  std::printf("   %ld threads while loaded; still mapped afterwards, of what came with it:",
              threadsWhileLoaded);
  for (const std::string& object : mappedObjects()) {
    std::printf("%s", objectsBefore.contains(object) ? "" : (" " + object).c_str());
  }
  std::printf("\n-- shared object: loaded, used and unloaded %d times\n", rounds);
  return 0;
}
