// A restserver-host child process, and the one way tests start it on a
// deployment: on a free port, waiting until that port accepts connections.
#pragma once

#include <signal.h>
#include <sys/types.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "deployment.h"

namespace rstest {

class HostProcess {
public:
    // Runs binary with the arguments; stdout and stderr go to <output_dir>/host.out and host.err.
    HostProcess(const std::string &binary, std::vector<std::string> args, const std::string &output_dir);
    ~HostProcess() { Stop(SIGKILL, std::chrono::seconds(10)); }
    bool Running();
    pid_t Pid() const { return pid_; }
    // Sends the signal (0: none) and waits: the exit status, -1 after a signal or the time (then killed).
    int Stop(int signal_number, std::chrono::milliseconds limit);

private:
    pid_t pid_ = -1;
    int status_ = -1;
};

// Writes conf/platform.json from the text with its first "port" set to a free port (later ones, the
// operations listener's, to others), runs binary --root <root> args
// (output in var/), waits until the port accepts; tries a fresh port when another process took it.
std::unique_ptr<HostProcess> HostStart(const std::string &binary, const Deployment &deployment,
                                       const std::string &platform_json, uint16_t &port,
                                       const std::vector<std::string> &args = {});

}  // namespace rstest
