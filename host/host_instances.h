// The server instances one host runs: make and start, wait, report, destroy.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "restserver_host.h"

namespace host {

struct HostInstance {
    RS_INSTANCE *handle = nullptr;
    uint8_t id = RS_INST_ID_NONE;
    uint32_t state = RS_STATE_IDLE;
};

// Makes and starts count instances; one that cannot be made is reported on
// stderr and left out.
std::vector<HostInstance> HostInstancesStart(unsigned count);

// Polls each instance until its state is final (listening or failed) or the
// time is up; records the last state seen.
void HostInstancesAwait(std::vector<HostInstance> &instances, std::chrono::milliseconds limit);

// Prints one line per instance: where it listens (scheme://address) or why
// it serves nothing, and how many of its configured URLs the engine took.
// Returns how many are listening.
unsigned HostInstancesReport(const std::vector<HostInstance> &instances, const std::string &scheme);

// Prints a start-up problem the library reports, one line on stderr.
void HostProblemPrint(uint8_t id, const char *text, void *user);

void HostInstancesDestroy(std::vector<HostInstance> &instances);

}  // namespace host
