// One mark per thread that runs entries: when its current entry started.
// The dead-loop monitor and the engine's watcher both read it. A thread's
// first mark registers it with the monitor; it leaves when the thread exits.
#pragma once

#include <atomic>
#include <cstdint>

namespace monitor {

struct EntryMark {
    std::atomic<int64_t> started_ns{0};  // 0: not inside an entry
    std::atomic<bool> reported{false};   // the monitor reported this entry already
};

// Nanoseconds of the steady clock.
int64_t NowNs();

EntryMark &ThisThreadMark();
void EntryBegin();
void EntryEnd();

}  // namespace monitor
