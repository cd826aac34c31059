// SIGINT and SIGTERM, taken synchronously by the main thread.
#pragma once

#include <signal.h>

namespace host {

// Blocks both signals in the calling thread; threads made afterwards inherit
// the mask, so only StopSignalWait ever receives them.
sigset_t StopSignalsBlock();

// Waits for one of the blocked signals and returns its number.
int StopSignalWait(const sigset_t &signals);

}  // namespace host
