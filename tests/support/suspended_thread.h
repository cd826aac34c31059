// Runs an operation that is expected to hit assertions: it runs on its own
// thread, every "Thread %u will suspend!" line it adds to the screen log is
// answered with a thread-directed SIGUSR2, and the call returns once the
// operation has finished, with the number of threads resumed.
#pragma once

#include <functional>
#include <string>

#include "plat_types.h"

namespace rstest {

// Full text of the screen log, "" when it does not exist.
std::string ScreenLogText();

// Finds the first complete "Thread %u will suspend!\n" at or after from;
// gives its thread id and the position just after it.
bool NextSuspendLine(const std::string &text, size_t from, u32 *tid, size_t *next);

int RunResumingAsserts(const std::function<void()> &operation);

}  // namespace rstest
