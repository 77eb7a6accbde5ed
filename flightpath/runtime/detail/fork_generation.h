#pragma once

namespace flightpath {

/// How many forks lie between this process and the one that loaded the library. What a thread was started
/// in, and what it may be waiting for, is gone wherever this number has changed since.
unsigned long forkGeneration();

}  // namespace flightpath
