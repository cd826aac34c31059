// Dead-loop monitor: per-thread entry marks and the thread that checks them.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "log/log_macro.h"
#include "monitor/entry_marks.h"
#include "plat_monitor.h"

namespace monitor {

namespace {

struct Monitor {
    std::mutex mutex;
    std::condition_variable wake;
    std::vector<EntryMark *> marks;
    std::thread thread;
    bool on = false;
    CF_DEAD_LOOP_CALLBACK callback = nullptr;
    uint32_t interval_ms = 5000;
    uint32_t max_run_ms = 1200000;
};

Monitor &Instance() {
    static Monitor *monitor = new Monitor();  // never destroyed: threads may mark during exit
    return *monitor;
}

constexpr int64_t kNsPerMs = 1000000;

// Owns this thread's mark for the thread's life.
struct MarkOwner {
    EntryMark mark;
    MarkOwner() {
        Monitor &monitor = Instance();
        std::lock_guard lock(monitor.mutex);
        monitor.marks.push_back(&mark);
    }
    ~MarkOwner() {
        Monitor &monitor = Instance();
        std::lock_guard lock(monitor.mutex);
        monitor.marks.erase(std::remove(monitor.marks.begin(), monitor.marks.end(), &mark), monitor.marks.end());
    }
};

}  // namespace

int64_t NowNs() {
    using namespace std::chrono;
    return duration_cast<nanoseconds>(steady_clock::now().time_since_epoch()).count();
}

EntryMark &ThisThreadMark() {
    thread_local MarkOwner owner;
    return owner.mark;
}

namespace {

// Calls the callback once for each entry call past the maximum.
void Watch() {
    Monitor &monitor = Instance();
    std::unique_lock lock(monitor.mutex);
    while (monitor.on) {
        monitor.wake.wait_for(lock, std::chrono::milliseconds(monitor.interval_ms));
        if (!monitor.on) break;
        int64_t now = NowNs();
        bool overdue = false;
        for (EntryMark *mark : monitor.marks) {
            int64_t started = mark->started_ns.load(std::memory_order_acquire);
            if (started == 0 || now - started <= monitor.max_run_ms * kNsPerMs) continue;
            if (mark->reported.exchange(true)) continue;
            overdue = true;
        }
        CF_DEAD_LOOP_CALLBACK callback = monitor.callback;
        if (!overdue) continue;
        PLAT_LOG(PLAT_LOG_ERROR, "entry call running past %u ms", monitor.max_run_ms);
        if (callback == nullptr) continue;
        lock.unlock();
        callback();
        lock.lock();
    }
}

}  // namespace

void EntryBegin() {
    EntryMark &mark = ThisThreadMark();
    mark.reported.store(false, std::memory_order_relaxed);
    mark.started_ns.store(NowNs(), std::memory_order_release);
}

void EntryEnd() {
    ThisThreadMark().started_ns.store(0, std::memory_order_release);
}

}  // namespace monitor

using monitor::Instance;

extern "C" {

PLAT_API u32 CF_DeadLoopMonitorSwitch(u32 uiOn) {
    try {
        auto &state = Instance();
        std::unique_lock lock(state.mutex);
        if ((uiOn != 0) == state.on) return PLAT_OK;
        state.on = uiOn != 0;
        if (state.on) {
            if (state.thread.joinable()) state.thread.join();
            state.thread = std::thread(monitor::Watch);
            return PLAT_OK;
        }
        state.wake.notify_all();
        std::thread stopping = std::move(state.thread);
        lock.unlock();
        if (stopping.joinable() && stopping.get_id() != std::this_thread::get_id()) stopping.join();
        if (stopping.joinable()) stopping.detach();
        return PLAT_OK;
    } catch (...) {
        PLAT_LOG(PLAT_LOG_ERROR, "dead-loop monitor switch failed");
        return PLAT_ERR;
    }
}

PLAT_API u32 CF_DeadLoopCallBackSet(CF_DEAD_LOOP_CALLBACK pfnCallback) {
    auto &state = Instance();
    std::lock_guard lock(state.mutex);
    state.callback = pfnCallback;
    return PLAT_OK;
}

PLAT_API u32 CF_DeadLoopCheckIntervalSet(u32 uiMs) {
    if (uiMs == 0) return PLAT_ERR;
    auto &state = Instance();
    std::lock_guard lock(state.mutex);
    state.interval_ms = uiMs;
    state.wake.notify_all();
    return PLAT_OK;
}

PLAT_API u32 CF_DeadLoopTaskMaxRunTimeSet(u32 uiMs) {
    if (uiMs == 0) return PLAT_ERR;
    auto &state = Instance();
    std::lock_guard lock(state.mutex);
    state.max_run_ms = uiMs;
    return PLAT_OK;
}

}  // extern "C"
