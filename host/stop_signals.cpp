// The host's signal thread: sigwait on the blocked set, one signal at a time.
#include "stop_signals.h"

#include <pthread.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <thread>

#include "restserver_host.h"

namespace host {

SignalWatch::SignalWatch() {
    sigemptyset(&signals_);
    sigaddset(&signals_, SIGINT);
    sigaddset(&signals_, SIGTERM);
    sigaddset(&signals_, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
}

void SignalWatch::Watch() {
    std::thread([this] { Run(); }).detach();
}

void SignalWatch::Started() {
    std::lock_guard lock(mutex_);
    started_ = true;
}

int SignalWatch::WaitStop(std::chrono::microseconds period, const std::function<void()> &tick) {
    std::unique_lock lock(mutex_);
    if (period <= std::chrono::microseconds::zero() || !tick) {
        stop_.wait(lock, [this] { return received_ != 0; });
        return received_;
    }
    while (!stop_.wait_for(lock, period, [this] { return received_ != 0; }))
        tick();
    return received_;
}

void SignalWatch::Run() {
    for (;;) {
        int received = 0;
        if (sigwait(&signals_, &received) != 0) continue;
        if (received == SIGHUP) {
            std::printf("restserver-host: SIGHUP received, ignored (the host has nothing to reload)\n");
            std::fflush(stdout);
            continue;
        }
        std::unique_lock lock(mutex_);
        if (!started_) {
            char screen_log[256] = {};
            _lwGetScreenFileName(screen_log, sizeof(screen_log));
            std::fprintf(stderr,
                         "restserver-host: %s received before the start-up finished; a failed assertion suspends it, "
                         "see %s\n",
                         strsignal(received), screen_log[0] != '\0' ? screen_log : "the screen log");
            _exit(1);
        }
        if (received_ != 0) _exit(1);  // a second stop signal during the stop: end at once
        received_ = received;
        stop_.notify_all();
    }
}

}  // namespace host
