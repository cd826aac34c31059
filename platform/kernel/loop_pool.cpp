// Event loops with spare threads lent to loops whose thread is held by an entry.
#include "kernel/loop_pool.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>

#include "log/log_macro.h"
#include "metrics/metrics.h"
#include "monitor/entry_marks.h"

namespace kernel {

namespace net = boost::asio;

namespace {

constexpr auto kWatchPeriod = std::chrono::milliseconds(1);
// The watcher goes to sleep after this many looks in a row found no entry
// running: a server under steady load keeps it awake without waking it per request.
constexpr int kIdleLooksBeforeSleep = 100;
constexpr int64_t kParkedAfterNs = 1000000;       // a sleeping entry this old holds its thread
constexpr int64_t kBusyParkedAfterNs = 50000000;  // a running one only after this long

// True when the thread is waiting rather than running or runnable: an entry
// merely preempted on a busy machine must not pull in another thread.
bool ThreadSleeping(pid_t tid) {
    char path[64];
    snprintf(path, sizeof(path), "/proc/self/task/%d/stat", static_cast<int>(tid));
    FILE *file = fopen(path, "r");
    if (file == nullptr) return true;
    char line[512];
    size_t n = fread(line, 1, sizeof(line) - 1, file);
    fclose(file);
    line[n] = '\0';
    const char *end = strrchr(line, ')');
    return end == nullptr || end[1] == '\0' || end[2] != 'R';
}

// Runs a loop; true when it ended normally. An exception out of a handler
// (one connection's failure) is logged and the loop goes on: whatever the
// handler held was released as the exception unwound.
template <class Run>
bool RunGuarded(Run run) {
    try {
        run();
        return true;
    } catch (const std::exception &error) {
        PLAT_LOG(PLAT_LOG_ERROR, "event loop handler failed, loop continues: %s", error.what());
    } catch (...) {
        PLAT_LOG(PLAT_LOG_ERROR, "event loop handler failed, loop continues");
    }
    return false;
}

}  // namespace

struct LoopPool::Loop {
    net::io_context context;
    net::executor_work_guard<net::io_context::executor_type> guard{context.get_executor()};
    std::atomic<int> threads{0};   // threads running this loop
    std::atomic<int> in_entry{0};  // of those, inside an entry call
};

struct LoopPool::Runner {
    std::thread thread;
    std::atomic<Loop *> loop{nullptr};                // the loop it runs; null for an idle spare
    std::atomic<monitor::EntryMark *> mark{nullptr};  // its thread's entry mark
    std::atomic<pid_t> tid{0};
    std::atomic<bool> blocking{false};  // its entry said it is about to wait
    bool primary = false;
};

namespace {
thread_local LoopPool *tl_pool = nullptr;
thread_local LoopPool::Runner *tl_runner = nullptr;
thread_local std::atomic<int> *tl_in_entry = nullptr;
}  // namespace

LoopPool::LoopPool(uint32_t loops, uint32_t max_spares) : max_spares_(max_spares) {
    for (uint32_t i = 0; i < loops; ++i)
        loops_.push_back(std::make_unique<Loop>());
}

LoopPool::~LoopPool() {
    Stop();
}

net::io_context &LoopPool::Next() {
    return loops_[next_.fetch_add(1, std::memory_order_relaxed) % loops_.size()]->context;
}

void LoopPool::Start() {
    for (auto &loop : loops_) {
        auto runner = std::make_unique<Runner>();
        runner->primary = true;
        runner->loop = loop.get();
        loop->threads = 1;
        Runner *raw = runner.get();
        runners_.push_back(std::move(runner));
        raw->thread = std::thread([this, raw] { RunPrimary(raw); });
    }
    watcher_ = std::thread([this] { Watch(); });
}

// The watcher sleeps while no entry runs; the entry that finds it asleep
// wakes it. Both sides use sequentially consistent operations, so either the
// watcher sees the entry or the entry sees the sleeping watcher.
void LoopPool::EntryBegin() {
    monitor::EntryBegin();
    LoopPool *pool = tl_pool;
    if (pool == nullptr) return;
    tl_in_entry->fetch_add(1, std::memory_order_relaxed);
    if (pool->entries_.fetch_add(1, std::memory_order_seq_cst) != 0) return;
    if (!pool->watcher_asleep_.load(std::memory_order_seq_cst)) return;
    std::lock_guard lock(pool->mutex_);
    pool->watch_wake_.notify_all();
}

void LoopPool::EntryEnd() {
    monitor::EntryEnd();
    if (tl_pool == nullptr) return;
    tl_runner->blocking.store(false, std::memory_order_relaxed);
    tl_in_entry->fetch_sub(1, std::memory_order_relaxed);
    tl_pool->entries_.fetch_sub(1, std::memory_order_relaxed);
}

// A blocking entry counts as parked at once and lends its own loop a spare,
// so the loop's other connections wait for one thread wake-up, not for the
// watcher's next look and then a wake-up.
void LoopPool::EntryBlocking() {
    LoopPool *pool = tl_pool;
    if (pool == nullptr || tl_runner->mark.load(std::memory_order_relaxed)->started_ns.load() == 0) return;
    tl_runner->blocking.store(true, std::memory_order_relaxed);
    std::lock_guard lock(pool->mutex_);
    Loop *loop = tl_runner->loop.load();
    if (loop != nullptr && !pool->stopping_) pool->LendIfHeld(*loop, monitor::NowNs());
}

void LoopPool::ThreadEnter(Runner *runner, Loop *loop) {
    runner->tid = gettid();
    runner->mark = &monitor::ThisThreadMark();
    tl_pool = this;
    tl_runner = runner;
    tl_in_entry = loop != nullptr ? &loop->in_entry : nullptr;
}

void LoopPool::RunPrimary(Runner *runner) {
    Loop &loop = *runner->loop;
    ThreadEnter(runner, &loop);
    while (!RunGuarded([&] { loop.context.run(); })) {
    }
}

// A loop has a thread too many once more than one of its threads is free.
bool LoopPool::ShouldReturn(Loop &loop) {
    int threads = loop.threads.load(std::memory_order_acquire);
    while (threads - loop.in_entry.load(std::memory_order_acquire) > 1) {
        if (loop.threads.compare_exchange_weak(threads, threads - 1, std::memory_order_acq_rel)) return true;
    }
    return false;
}

void LoopPool::RunSpare(Runner *runner) {
    ThreadEnter(runner, nullptr);
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        Loop *loop = runner->loop.load();
        if (loop == nullptr) {
            spare_wake_.wait(lock);
            continue;
        }
        lock.unlock();
        tl_in_entry = &loop->in_entry;
        bool lent = true;
        while (lent) {
            RunGuarded([&] {
                while (lent && !loop->context.stopped()) {
                    loop->context.run_one();
                    lent = !ShouldReturn(*loop);
                }
                lent = false;
            });
        }
        lock.lock();
        runner->loop = nullptr;
    }
}

// Gives the loop a spare thread: an idle one, else a new one within the cap.
void LoopPool::Lend(Loop &loop) {
    Runner *idle = nullptr;
    size_t spares = 0;
    for (auto &runner : runners_) {
        if (runner->primary) continue;
        ++spares;
        if (idle == nullptr && runner->loop.load() == nullptr) idle = runner.get();
    }
    if (idle == nullptr && spares >= max_spares_) return;
    loop.threads.fetch_add(1, std::memory_order_acq_rel);
    if (metrics::Enabled()) metrics::SparesLent().Add(1);
    if (idle != nullptr) {
        idle->loop = &loop;
        spare_wake_.notify_all();
        return;
    }
    auto runner = std::make_unique<Runner>();
    runner->loop = &loop;
    Runner *raw = runner.get();
    runners_.push_back(std::move(runner));
    raw->thread = std::thread([this, raw] { RunSpare(raw); });
}

void LoopPool::WatchSleep(std::unique_lock<std::mutex> &lock) {
    watcher_asleep_.store(true, std::memory_order_seq_cst);
    watch_wake_.wait(lock, [this] { return stopping_ || entries_.load(std::memory_order_seq_cst) != 0; });
    watcher_asleep_.store(false, std::memory_order_relaxed);
}

void LoopPool::Watch() {
    std::unique_lock lock(mutex_);
    int idle_looks = 0;
    while (!stopping_) {
        idle_looks = entries_.load(std::memory_order_relaxed) == 0 ? idle_looks + 1 : 0;
        if (idle_looks >= kIdleLooksBeforeSleep) {
            WatchSleep(lock);
            idle_looks = 0;
        } else {
            watch_wake_.wait_for(lock, kWatchPeriod);
        }
        if (stopping_) break;
        int64_t now = monitor::NowNs();
        for (auto &loop : loops_)
            LendIfHeld(*loop, now);
    }
}

// Lends the loop a spare when every one of its threads is held by an entry:
// one that said it blocks, one asleep past a millisecond, or one running far
// too long. Called with mutex_ held.
void LoopPool::LendIfHeld(Loop &loop, int64_t now) {
    int parked = 0;
    for (auto &runner : runners_) {
        monitor::EntryMark *mark = runner->mark.load(std::memory_order_acquire);
        int64_t since = mark != nullptr ? mark->started_ns.load(std::memory_order_relaxed) : 0;
        if (runner->loop.load() != &loop || since == 0) continue;
        if (runner->blocking.load(std::memory_order_relaxed)) {
            ++parked;
            continue;
        }
        if (now - since <= kParkedAfterNs) continue;
        if (now - since > kBusyParkedAfterNs || ThreadSleeping(runner->tid.load())) ++parked;
    }
    if (loop.threads.load(std::memory_order_acquire) - parked < 1) Lend(loop);
}

size_t LoopPool::Stop() {
    {
        std::lock_guard lock(mutex_);
        if (stopping_) return 0;
        stopping_ = true;
    }
    watch_wake_.notify_all();
    spare_wake_.notify_all();
    if (watcher_.joinable()) watcher_.join();
    for (auto &loop : loops_)
        loop->context.stop();
    size_t left = 0;
    for (auto &runner : runners_) {
        if (!runner->thread.joinable()) continue;
        monitor::EntryMark *mark = runner->mark.load();
        if (mark != nullptr && mark->started_ns.load() != 0) {
            runner->thread.detach();
            ++left;
            continue;
        }
        runner->thread.join();
    }
    return left;
}

}  // namespace kernel
