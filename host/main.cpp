// restserver-host: runs the restserver instances of one deployment until
// SIGINT or SIGTERM. Everything but the command line, the signals and the
// report lives in the libraries.
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

#include "auth_readiness.h"
#include "host_instances.h"
#include "host_options.h"
#include "listen_config.h"
#include "operator_commands.h"
#include "plat_config.h"
#include "restserver_host.h"
#include "service_notify.h"
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

// Tracing stays off when its file cannot be written: records would only pile up.
void TraceEnable(unsigned batch) {
    char path[256] = {};
    uint32_t error = RESTSERVER_TraceFileCheck(path, sizeof(path));
    if (error != 0) {
        std::fprintf(stderr, "restserver-host: trace file %s cannot be opened: %s; tracing stays off\n", path,
                     std::strerror(static_cast<int>(error)));
        return;
    }
    RsTraceParaSet(batch, 1);
}

int Serve(const host::HostOptions &options, host::SignalWatch &signals) {
    if (PLAT_Init() != PLAT_OK) {
        std::fprintf(stderr, "restserver-host: cannot start: %s\n", PLAT_LastError());
        return kExitNotServing;
    }
    if (RESTSERVER_GlobalInit() != 0) {
        std::fprintf(stderr, "restserver-host: the library could not be initialised\n");
        return kExitNotServing;
    }
    RESTSERVER_ProblemSinkSet(host::HostProblemPrint, nullptr);
    host::SecretsPermissionsCheck();
    host::AuthReadinessReport();
    if (options.trace > 0) TraceEnable(options.trace);
    std::vector<host::HostInstance> instances = host::HostInstancesStart(options.instances);
    host::HostInstancesAwait(instances, kStartLimit);
    int status = kExitNotServing;
    unsigned listening = host::HostInstancesReport(instances, host::ListenSchemeGet());
    signals.Started();
    if (listening > 0) {
        host::ServiceReady(listening, options.instances);
        int received = signals.WaitStop(host::ServiceWatchdogPeriod(), host::ServiceWatchdogPing);
        host::ServiceStopping();
        std::printf("restserver-host: %s received, stopping\n", strsignal(received));
        std::fflush(stdout);
        status = kExitServed;
    } else {
        std::fprintf(stderr, "restserver-host: no instance listens; stopping\n");
    }
    host::HostInstancesDestroy(instances);
    RESTSERVER_GlobalUnInit();
    return status;
}

}  // namespace

int main(int argc, char **argv) {
    // Before any other thread exists. Never destroyed: its thread waits in it until the process ends.
    static host::SignalWatch *const watch = new host::SignalWatch();
    host::SignalWatch &signals = *watch;
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
    if (options.command == host::HostCommand::kMakeToken) return host::TokenCommand(options);
    // The token file is named from where the host was started, not from bin/.
    if (!options.token_file.empty()) options.token_file = std::filesystem::absolute(options.token_file).string();
    if (!EnterDeployment(options.root)) return kExitNotServing;
    if (options.command == host::HostCommand::kCheck) return host::CheckCommand();
    if (options.command == host::HostCommand::kExplain) return host::ExplainCommand(options);
    signals.Watch();
    return Serve(options, signals);
}
