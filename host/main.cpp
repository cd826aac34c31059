// restserver-host: runs the restserver instances of one deployment until
// SIGINT or SIGTERM. Everything but the command line, the signal wait and the
// report lives in the libraries.
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>

#include "host_instances.h"
#include "host_options.h"
#include "listen_address.h"
#include "plat_config.h"
#include "restserver_host.h"
#include "stop_signals.h"

namespace {

constexpr int kExitServed = 0;
constexpr int kExitNotServing = 1;
constexpr int kExitUsage = 2;

// The start-up only forks the listen thread; the states settle quickly.
constexpr std::chrono::seconds kStartLimit{10};

// The system reads its files relative to the working directory, a deployment's bin/.
bool EnterDeployment(const std::string &root) {
    if (root.empty()) return true;
    std::string bin = root + "/bin";
    if (chdir(bin.c_str()) == 0) return true;
    std::fprintf(stderr, "restserver-host: cannot work in %s: %s\n", bin.c_str(), std::strerror(errno));
    return false;
}

int Serve(const host::HostOptions &options, const sigset_t &stop_signals) {
    if (PLAT_Init() != PLAT_OK) {
        std::fprintf(stderr, "restserver-host: cannot start: %s\n", PLAT_LastError());
        return kExitNotServing;
    }
    if (RESTSERVER_GlobalInit() != 0) {
        std::fprintf(stderr, "restserver-host: the library could not be initialised\n");
        return kExitNotServing;
    }
    if (options.trace > 0) RsTraceParaSet(options.trace, 1);
    std::vector<host::HostInstance> instances = host::HostInstancesStart(options.instances);
    host::HostInstancesAwait(instances, kStartLimit);
    int status = kExitNotServing;
    if (host::HostInstancesReport(instances, host::ListenAddressGet()) > 0) {
        int received = host::StopSignalWait(stop_signals);
        std::printf("restserver-host: %s received, stopping\n", strsignal(received));
        std::fflush(stdout);
        status = kExitServed;
    }
    host::HostInstancesDestroy(instances);
    RESTSERVER_GlobalUnInit();
    return status;
}

}  // namespace

int main(int argc, char **argv) {
    // Before any thread exists, so every thread inherits the blocked set.
    sigset_t stop_signals = host::StopSignalsBlock();
    host::HostOptions options;
    std::string error;
    if (!host::HostOptionsParse(argc, argv, options, error)) {
        std::fprintf(stderr, "restserver-host: %s\n", error.c_str());
        host::HostUsagePrint(stderr);
        return kExitUsage;
    }
    if (options.help) {
        host::HostUsagePrint(stdout);
        return kExitServed;
    }
    if (!EnterDeployment(options.root)) return kExitNotServing;
    return Serve(options, stop_signals);
}
