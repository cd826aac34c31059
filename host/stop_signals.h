// Signals of the host, taken by one thread of their own: SIGINT and SIGTERM
// stop it, SIGHUP is ignored with a line. A stop signal that comes while the
// instances are still starting (a failed assertion suspends the start-up
// until resumed) ends the process at once, saying where the report is.
#pragma once

#include <signal.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

namespace host {

class SignalWatch {
public:
    // Blocks the signals in the calling thread before any other thread
    // exists, so every thread inherits the mask and only the watch takes them.
    SignalWatch();
    SignalWatch(const SignalWatch &) = delete;
    SignalWatch &operator=(const SignalWatch &) = delete;

    // Starts the watching thread; from then on a stop signal ends a start-up
    // that does not finish.
    void Watch();
    // The start-up is over: a stop signal is now handed to WaitStop.
    void Started();
    // Waits for SIGINT or SIGTERM and returns its number; with a period,
    // calls tick once a period while it waits.
    int WaitStop(std::chrono::microseconds period = std::chrono::microseconds::zero(),
                 const std::function<void()> &tick = nullptr);

private:
    void Run();

    sigset_t signals_;
    std::mutex mutex_;
    std::condition_variable stop_;
    bool started_ = false;
    int received_ = 0;
};

}  // namespace host
