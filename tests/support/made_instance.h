// Instance 0 made as a host makes it, in a temporary deployment: platform
// configuration (a REST endpoint on a free loopback port unless told
// otherwise), access rules, library init, log captured; undone on destruction.
#pragma once

#include <optional>
#include <vector>

#include "config/restserver_cfg.h"
#include "support/deployment.h"
#include "support/free_port.h"
#include "support/log_capture.h"

namespace rstest {

struct InstanceSetup {
    bool rest = true;           // a "rest" endpoint in the platform configuration
    bool access_rules = true;   // conf/vog_auth/: the access rules and the service files
    std::string kernel = "{}";  // the engine's settings
};

class MadeInstance {
public:
    explicit MadeInstance(InstanceSetup setup = {}) : port(setup.rest ? FreePort() : 0) {
        std::string json = "{\"node\":{\"common_root\":\"" + deployment.Root() + "\"},\"kernel\":" + setup.kernel;
        if (setup.rest) json += ",\"rest\":{\"host\":\"127.0.0.1\",\"port\":" + std::to_string(port) + "}";
        if (PLAT_InitFromText((json + "}").c_str()) != 0) error_ = PLAT_LastError();
        if (!error_.empty()) return;
        if (setup.access_rules) deployment.WriteAccessRules();
        log_.emplace();  // after the platform configuration, which resets the log settings
        inited_ = RESTSERVER_GlobalInit() == 0;
        if (!inited_ || Make() == nullptr) error_ = inited_ ? "instance 0 was not made" : "initialised already";
    }
    ~MadeInstance() {
        while (!instances_.empty())
            Destroy(instances_.back());
        if (inited_) RESTSERVER_GlobalUnInit();
    }
    const std::string &Error() const { return error_; }  // "" when instance 0 was made
    RS_INSTANCE *Inst() const { return instances_.empty() ? nullptr : instances_.front(); }
    LogCapture &Log() { return *log_; }
    // One more instance; null when the make failed.
    RS_INSTANCE *Make() {
        RS_INSTANCE *inst = nullptr;
        u8 id = 0;
        if (RESTSERVER_InstMake(&inst, &id) == 0) instances_.push_back(inst);
        return inst;
    }
    // Destroys an instance made here, with the platform record it keeps until it registers.
    u32 Destroy(RS_INSTANCE *inst) {
        std::erase(instances_, inst);
        auto release = [](void *auth, void *) -> u32 {
            Haf_FreeMicroserviceRestCfg(&static_cast<RS_META_AUTH *>(auth)->pstMsRestCfg);
            return 0;
        };
        RsConfRootWalkAuth(inst, release, nullptr);
        return RESTSERVER_InstDestroy(inst);
    }

    Deployment deployment;
    const uint16_t port;  // of the REST endpoint, 0 without one

private:
    std::string error_;
    bool inited_ = false;
    std::vector<RS_INSTANCE *> instances_;
    std::optional<LogCapture> log_;
};

}  // namespace rstest
