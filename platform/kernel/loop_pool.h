// Event loops and the threads that run them. Each loop has one thread of its
// own and runs entry functions in place, so an entry that answers at once
// costs no hand-off. When an entry has held a loop's thread past a
// millisecond, a watcher lends the loop a spare thread (an entry that says it
// is about to wait lends one itself), so a blocked entry parks its thread and
// never the loop; the spare goes back once the loop has a free thread again.
// The watcher looks every millisecond while entries run and sleeps once none
// has run for a while.
#pragma once

#include <atomic>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace kernel {

class LoopPool {
public:
    LoopPool(uint32_t loops, uint32_t max_spares);
    ~LoopPool();

    boost::asio::io_context &Next();  // round-robin, for new connections
    void Start();
    // Stops every loop and joins every thread that is not inside an entry;
    // those are left to finish on their own. Returns how many were left.
    size_t Stop();

    // Around every entry call on a loop thread; they also mark the entry for
    // the dead-loop monitor.
    static void EntryBegin();
    // From an entry about to wait for a while: its loop gets a spare now.
    static void EntryBlocking();
    static void EntryEnd();

    struct Runner;

private:
    struct Loop;
    void ThreadEnter(Runner *runner, Loop *loop);
    void RunPrimary(Runner *runner);
    void RunSpare(Runner *runner);
    void Watch();
    void WatchSleep(std::unique_lock<std::mutex> &lock);
    void LendIfHeld(Loop &loop, int64_t now);
    void Lend(Loop &loop);
    static bool ShouldReturn(Loop &loop);

    std::vector<std::unique_ptr<Loop>> loops_;
    std::vector<std::unique_ptr<Runner>> runners_;  // primaries first, then spares
    uint32_t max_spares_;
    std::atomic<uint32_t> next_{0};
    std::mutex mutex_;  // spares list, lending, stopping
    std::condition_variable spare_wake_;
    std::condition_variable watch_wake_;
    bool stopping_ = false;
    std::atomic<int> entries_{0};  // entries running on any loop
    std::atomic<bool> watcher_asleep_{false};
    std::thread watcher_;
};

}  // namespace kernel
