#pragma once

#include "flightpath/runtime/export.h"

/// The process-wide lock around FFT planning.
///
/// The FFT library's planner is not thread-safe: whoever plans in this process, the host included,
/// holds this lock while a plan is made or destroyed. Running a plan needs no lock.
///
/// A fork waits until no other thread holds it: in the child it is free, and no plan is half made. A thread
/// that forks while it holds the lock holds it in both processes.

/// Initialises the lock. Optional: the first use of the lock does without.
///
/// returns 0; where the initialisation fails, the result of writing a message to standard output. The
/// next call then tries again. A lock that was initialised, or used, is left alone.
FLIGHTPATH_API int initFFTPlanningProcessLock();

/// Waits for the lock and takes it. Not recursive. Returns the mutex call's result, 0 for success.
FLIGHTPATH_API int lockFFTPlanningProcess();

/// Gives the lock back. Returns the mutex call's result, 0 for success.
FLIGHTPATH_API int unlockFFTPlanningProcess();
