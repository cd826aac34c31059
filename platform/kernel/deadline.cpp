// The connection timer: a deadline in an atomic, a timer re-armed lazily.
#include "kernel/deadline.h"

#include <sys/socket.h>

#include <mutex>

namespace kernel {

namespace {

constexpr int64_t kNone = INT64_MAX;

int64_t NowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

}  // namespace

struct Deadline::State {
    State(const LoopExecutor &executor, int socket) : timer(executor), fd(socket) {}

    std::atomic<int64_t> deadline{kNone};
    std::atomic<int64_t> armed{kNone};  // the expiry the timer waits for; kNone when it waits for none
    std::atomic<int> how{SHUT_RDWR};
    std::atomic<bool> passed{false};
    std::mutex mutex;  // the timer and fd
    LoopTimer timer;
    int fd;  // -1 once the connection is gone
};

namespace {

void Arm(const std::shared_ptr<Deadline::State> &state, int64_t at);

// Either the connection sees the timer idle and arms it, or the timer sees
// the connection's new deadline: both sides store, then load, sequentially
// consistent.
void OnTimer(const std::shared_ptr<Deadline::State> &state, boost::system::error_code ec) {
    if (ec) return;  // replaced by a wait for an earlier deadline
    std::lock_guard lock(state->mutex);
    state->armed.store(kNone, std::memory_order_seq_cst);
    int64_t at = state->deadline.load(std::memory_order_seq_cst);
    if (at == kNone || state->fd < 0) return;
    if (NowNs() < at) return Arm(state, at);
    state->passed.store(true, std::memory_order_release);
    ::shutdown(state->fd, state->how.load(std::memory_order_relaxed));
}

// Under the state's mutex.
void Arm(const std::shared_ptr<Deadline::State> &state, int64_t at) {
    state->timer.expires_at(std::chrono::steady_clock::time_point(std::chrono::nanoseconds(at)));
    state->timer.async_wait([state](boost::system::error_code ec) { OnTimer(state, ec); });
    state->armed.store(at, std::memory_order_seq_cst);
}

}  // namespace

Deadline::Deadline(const LoopExecutor &executor, int fd) : state_(std::make_shared<State>(executor, fd)) {}

Deadline::~Deadline() {
    std::lock_guard lock(state_->mutex);
    state_->fd = -1;
    state_->timer.cancel();
}

void Deadline::Set(uint32_t ms, int how) {
    state_->how.store(how, std::memory_order_relaxed);
    Move(NowNs() + static_cast<int64_t>(ms) * 1000000);
}

void Deadline::Clear() {
    state_->deadline.store(kNone, std::memory_order_seq_cst);
}

bool Deadline::passed() const {
    return state_->passed.load(std::memory_order_acquire);
}

void Deadline::Move(int64_t at) {
    state_->deadline.store(at, std::memory_order_seq_cst);
    if (at >= state_->armed.load(std::memory_order_seq_cst)) return;
    std::lock_guard lock(state_->mutex);
    if (at < state_->armed.load(std::memory_order_seq_cst) && state_->fd >= 0) Arm(state_, at);
}

}  // namespace kernel
