// A connection's one timer. The connection moves its deadline often and
// cheaply (two atomic stores); the timer itself is touched only when the
// deadline moves earlier than the expiry it waits for, and on waking it
// re-arms itself to a deadline that moved later. When the deadline passes
// it flags that and shuts the socket down, for reading (the connection can
// still answer 408) or both ways, which ends the connection's pending
// operation. It may wake on another thread of the loop (a spare) while a
// handler of the connection runs, so it touches nothing else.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "kernel/io_types.h"

namespace kernel {

class Deadline {
public:
    Deadline(const LoopExecutor &executor, int fd);
    // Stops the timer from touching the socket, which may close after this.
    ~Deadline();
    Deadline(const Deadline &) = delete;
    Deadline &operator=(const Deadline &) = delete;

    // how: SHUT_RD or SHUT_RDWR, what the socket gets when the time is up.
    void Set(uint32_t ms, int how);
    void Clear();
    bool passed() const;

    struct State;

private:
    void Move(int64_t at);

    std::shared_ptr<State> state_;  // shared with a pending wait's handler
};

}  // namespace kernel
