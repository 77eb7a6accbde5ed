#include "flightpath/toolbox/detail/call_guard.h"

namespace flightpath {
namespace {

std::mutex callingMutex;

}  // namespace

CallGuard::CallGuard(bool inTurn) : turn_(callingMutex, std::defer_lock) {
  if (inTurn) {
    turn_.lock();
  }
}

void holdCalls() { callingMutex.lock(); }
void releaseCalls() { callingMutex.unlock(); }

}  // namespace flightpath
