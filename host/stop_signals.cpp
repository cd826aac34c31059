// Stop signals: blocked everywhere, received with sigwait in the main thread.
#include "stop_signals.h"

#include <pthread.h>

namespace host {

sigset_t StopSignalsBlock() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

int StopSignalWait(const sigset_t &signals) {
    int received = 0;
    sigwait(&signals, &received);  // fails only for a set without valid signals
    return received;
}

}  // namespace host
