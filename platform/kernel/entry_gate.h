// Entry allowances: how many entry calls of each group may run (and block)
// at once, with a bounded queue of requests waiting for a slot. Pool 0 is
// the default; group g uses pool g + 1.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace kernel {

class EntryGate {
public:
    enum class Admission { kQueued, kFull };

    EntryGate(uint32_t default_slots, uint32_t group_slots, uint32_t groups, uint32_t queue_depth);

    uint32_t PoolOf(uint32_t group) const;
    // Takes a slot when one is free and nobody waits: the caller runs the entry.
    bool TryEnter(uint32_t pool);
    // Queues a request whose TryEnter failed. kQueued: resume is called later,
    // holding a slot, from whichever thread frees one (so it must only post
    // work); it may also be called before Enqueue returns. kFull: refused.
    Admission Enqueue(uint32_t pool, std::function<void()> resume);
    // Frees the slot, handing it straight to the next waiting request.
    void Leave(uint32_t pool);
    // Drops every waiting request; used at stop.
    size_t DropQueued();

private:
    struct Pool {
        uint32_t slots = 0;
        std::atomic<uint32_t> running{0};
        std::atomic<uint32_t> waiting{0};
        std::mutex mutex;
        std::deque<std::function<void()>> queue;
    };
    static bool TryTake(Pool &pool);
    void Drain(Pool &pool);

    uint32_t queue_depth_;
    std::vector<std::unique_ptr<Pool>> pools_;
};

}  // namespace kernel
