// Entry allowances with lock-free fast path; the queue is only locked when a
// pool is full.
#include "kernel/entry_gate.h"

namespace kernel {

EntryGate::EntryGate(uint32_t default_slots, uint32_t group_slots, uint32_t groups, uint32_t queue_depth)
    : queue_depth_(queue_depth) {
    pools_.reserve(groups + 1);
    for (uint32_t i = 0; i <= groups; ++i) {
        pools_.push_back(std::make_unique<Pool>());
        pools_.back()->slots = i == 0 ? default_slots : group_slots;
    }
}

uint32_t EntryGate::PoolOf(uint32_t group) const {
    return group < pools_.size() - 1 ? group + 1 : 0;
}

bool EntryGate::TryTake(Pool &pool) {
    uint32_t running = pool.running.load(std::memory_order_relaxed);
    while (running < pool.slots) {
        if (pool.running.compare_exchange_weak(running, running + 1, std::memory_order_acq_rel)) return true;
    }
    return false;
}

bool EntryGate::TryEnter(uint32_t index) {
    Pool &pool = *pools_[index];
    return pool.waiting.load(std::memory_order_acquire) == 0 && TryTake(pool);
}

EntryGate::Admission EntryGate::Enqueue(uint32_t index, std::function<void()> resume) {
    Pool &pool = *pools_[index];
    {
        std::lock_guard lock(pool.mutex);
        if (pool.queue.size() >= queue_depth_) return Admission::kFull;
        pool.queue.push_back(std::move(resume));
        pool.waiting.fetch_add(1, std::memory_order_acq_rel);
    }
    Drain(pool);  // a slot may have been freed while this request was queued
    return Admission::kQueued;
}

void EntryGate::Leave(uint32_t index) {
    Pool &pool = *pools_[index];
    pool.running.fetch_sub(1, std::memory_order_acq_rel);
    if (pool.waiting.load(std::memory_order_acquire) != 0) Drain(pool);
}

void EntryGate::Drain(Pool &pool) {
    while (pool.waiting.load(std::memory_order_acquire) != 0 && TryTake(pool)) {
        std::function<void()> next;
        {
            std::lock_guard lock(pool.mutex);
            if (!pool.queue.empty()) {
                next = std::move(pool.queue.front());
                pool.queue.pop_front();
                pool.waiting.fetch_sub(1, std::memory_order_acq_rel);
            }
        }
        if (!next) {
            pool.running.fetch_sub(1, std::memory_order_acq_rel);
            continue;
        }
        next();
    }
}

size_t EntryGate::DropQueued() {
    size_t dropped = 0;
    for (auto &pool : pools_) {
        std::deque<std::function<void()>> queue;
        {
            std::lock_guard lock(pool->mutex);
            queue.swap(pool->queue);
            pool->waiting.store(0, std::memory_order_release);
        }
        dropped += queue.size();
    }
    return dropped;
}

}  // namespace kernel
