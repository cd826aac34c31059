// Notify protocol over libsystemd; a build without it keeps the calls empty.
#include "service_notify.h"

#include <cstdio>

#ifdef RS_HAVE_SYSTEMD
#include <systemd/sd-daemon.h>
#endif

namespace host {

#ifdef RS_HAVE_SYSTEMD

void ServiceReady(unsigned listening, unsigned asked) {
    sd_notifyf(0, "READY=1\nSTATUS=serving: %u of %u instances listen", listening, asked);
}

void ServiceStopping() {
    sd_notify(0, "STOPPING=1\nSTATUS=stopping");
}

std::chrono::microseconds ServiceWatchdogPeriod() {
    uint64_t usec = 0;
    if (sd_watchdog_enabled(0, &usec) <= 0) return std::chrono::microseconds::zero();
    return std::chrono::microseconds(usec / 2);
}

void ServiceWatchdogPing() {
    sd_notify(0, "WATCHDOG=1");
}

#else

void ServiceReady(unsigned, unsigned) {}
void ServiceStopping() {}
std::chrono::microseconds ServiceWatchdogPeriod() {
    return std::chrono::microseconds::zero();
}
void ServiceWatchdogPing() {}

#endif

}  // namespace host
