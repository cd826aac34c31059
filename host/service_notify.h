// The host's side of the service manager's notify protocol: ready once the
// start-up is over and the instances listen, a watchdog ping while it
// serves, stopping when a stop signal came. Outside a service manager
// (no NOTIFY_SOCKET) every call does nothing.
#pragma once

#include <chrono>

namespace host {

// Ready, with how many of the instances asked for listen as the status line.
void ServiceReady(unsigned listening, unsigned asked);

// The stop has begun.
void ServiceStopping();

// How often to ping the watchdog (half the interval the unit asks for), or
// zero when the unit asks for none.
std::chrono::microseconds ServiceWatchdogPeriod();

void ServiceWatchdogPing();

}  // namespace host
