// Marks around every entry call, read by the dead-loop monitor. A thread's
// first mark registers it; its record leaves the watch list when it exits.
#pragma once

namespace monitor {

void EntryBegin();
void EntryEnd();

}  // namespace monitor
