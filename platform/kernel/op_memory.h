// Memory for the one operation a connection has outstanding, so that the
// common read or write allocates nothing. Asio frees an operation's memory
// before it calls the handler, so the next operation finds the block free;
// a larger operation, or one while the block is taken, gets the heap.
#pragma once

#include <cstddef>
#include <new>

namespace kernel {

class OpMemory {
public:
    static constexpr size_t kSize = 512;

    void *Allocate(size_t size) {
        if (!used_ && size <= kSize) {
            used_ = true;
            return block_;
        }
        return ::operator new(size);
    }
    void Deallocate(void *pointer) {
        if (pointer == block_) {
            used_ = false;
            return;
        }
        ::operator delete(pointer);
    }

private:
    alignas(std::max_align_t) unsigned char block_[kSize];
    bool used_ = false;
};

// The allocator handlers of a connection carry, over its OpMemory.
template <class T>
class OpAllocator {
public:
    using value_type = T;

    explicit OpAllocator(OpMemory &memory) : memory_(&memory) {}
    template <class U>
    OpAllocator(const OpAllocator<U> &other) : memory_(other.memory_) {}

    T *allocate(size_t count) { return static_cast<T *>(memory_->Allocate(count * sizeof(T))); }
    void deallocate(T *pointer, size_t) { memory_->Deallocate(pointer); }
    template <class U>
    bool operator==(const OpAllocator<U> &other) const {
        return memory_ == other.memory_;
    }

private:
    template <class U>
    friend class OpAllocator;
    OpMemory *memory_;
};

}  // namespace kernel
