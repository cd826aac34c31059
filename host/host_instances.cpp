// Instance life as the host drives it. The start-up runs in this thread; its
// outcome comes from the instance state and the library's start-up report.
#include "host_instances.h"

#include <cstdio>
#include <thread>

#include "plat_log.h"

namespace host {

namespace {

bool StateIsFinal(uint32_t state) {
    return state == RS_STATE_LISTENING || state == RS_STATE_FAILED;
}

// Where an operator finds the reason of a failed start-up.
std::string LogHint() {
    if (g_stLogCfgs.uiEnable == 0) return "enable \"log\" in ../conf/platform.json to see why";
    return std::string("see the log ") + g_stLogCfgs.acFile;
}

}  // namespace

std::vector<HostInstance> HostInstancesStart(unsigned count) {
    std::vector<HostInstance> instances;
    for (unsigned i = 0; i < count; ++i) {
        HostInstance instance;
        if (RESTSERVER_InstMake(&instance.handle, &instance.id) != 0 || instance.handle == nullptr) {
            std::fprintf(stderr, "restserver-host: instance %u could not be made; %s\n", i, LogHint().c_str());
            continue;
        }
        RESTSERVER_InstStart(instance.handle);
        instance.state = RsStateGet(instance.handle);
        instances.push_back(instance);
    }
    return instances;
}

void HostInstancesAwait(std::vector<HostInstance> &instances, std::chrono::milliseconds limit) {
    auto deadline = std::chrono::steady_clock::now() + limit;
    for (HostInstance &instance : instances) {
        instance.state = RsStateGet(instance.handle);
        while (!StateIsFinal(instance.state) && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            instance.state = RsStateGet(instance.handle);
        }
    }
}

unsigned HostInstancesReport(const std::vector<HostInstance> &instances, const std::string &scheme) {
    unsigned listening = 0;
    for (const HostInstance &instance : instances) {
        RS_INST_REPORT report{};
        RESTSERVER_InstReportGet(instance.handle, &report);
        std::string urls = std::to_string(report.uiUrlsRegistered) + " of " + std::to_string(report.uiUrlsConfigured) +
                           " URLs registered";
        if (instance.state == RS_STATE_LISTENING && report.uiListening != 0) {
            ++listening;
            std::printf("restserver-host: instance %u listening on %s://%s (%s)\n", instance.id, scheme.c_str(),
                        report.acListen, urls.c_str());
        } else if (instance.state == RS_STATE_LISTENING) {
            std::fprintf(stderr, "restserver-host: instance %u not serving: %s (%s)\n", instance.id, report.acListen,
                         urls.c_str());
        } else if (instance.state == RS_STATE_FAILED) {
            std::fprintf(stderr, "restserver-host: instance %u failed to start; %s\n", instance.id, LogHint().c_str());
        } else {
            std::fprintf(stderr, "restserver-host: instance %u still starting (state %u); %s\n", instance.id,
                         instance.state, LogHint().c_str());
        }
    }
    std::fflush(stdout);
    return listening;
}

void HostProblemPrint(uint8_t id, const char *text, void *user) {
    (void)user;
    if (id == RS_INST_ID_NONE) {
        std::fprintf(stderr, "restserver-host: %s\n", text);
    } else {
        std::fprintf(stderr, "restserver-host: instance %u: %s\n", id, text);
    }
}

void HostInstancesDestroy(std::vector<HostInstance> &instances) {
    for (HostInstance &instance : instances)
        RESTSERVER_InstDestroy(instance.handle);
    instances.clear();
}

}  // namespace host
