// A made instance in a temporary deployment whose platform configuration
// has a REST endpoint; helpers to write the two handler files, install
// fixture modules and read what the phases produced.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "config/restserver_cfg_loader.h"
#include "config/restserver_cfg_parser.h"
#include "config/restserver_cfg_register.h"
#include "core/restserver_log.h"
#include "plat_config.h"
#include "support/deployment.h"
#include "support/log_capture.h"
#include "web/restserver_session.h"

namespace rstest {

inline const char *const kCommonCfg = "lib/common_resthandler.cfg";
inline const char *const kBusinessCfg = "lib/resthandler.cfg";

class ConfPhase : public ::testing::Test {
protected:
    void SetUp() override { Init(true); }

    // Platform configuration with or without the "rest" member, then a made instance.
    void Init(bool with_rest) {
        std::string json = "{\"node\":{\"common_root\":\"" + deployment_.Root() + "\"}";
        if (with_rest) json += ",\"rest\":{\"host\":\"127.0.0.1\",\"port\":8443}";
        json += "}";
        ASSERT_EQ(PLAT_InitFromText(json.c_str()), 0u) << PLAT_LastError();
        deployment_.WriteAccessRules();
        ASSERT_EQ(RESTSERVER_GlobalInit(), 0u);
        ASSERT_EQ(RESTSERVER_InstMake(&inst_, &id_), 0u);
        log_.emplace();
    }

    void TearDown() override {
        if (inst_ != nullptr) Destroy(inst_);
        RESTSERVER_GlobalUnInit();
    }

    RS_INSTANCE *Make() {
        RS_INSTANCE *inst = nullptr;
        u8 id = 0;
        EXPECT_EQ(RESTSERVER_InstMake(&inst, &id), 0u);
        return inst;
    }

    // Platform records not handed to the web side are released with the instance.
    static void Destroy(RS_INSTANCE *inst) {
        RsConfRootWalkAuth(
            inst,
            [](void *record, void *) -> u32 {
                Haf_FreeMicroserviceRestCfg(&static_cast<RS_META_AUTH *>(record)->pstMsRestCfg);
                return 0;
            },
            nullptr);
        RESTSERVER_InstDestroy(inst);
    }

    // Copies a fixture module (counting_handler, plain_handler) to lib/.
    void InstallModule(const std::string &name) {
        deployment_.Copy(std::string(RS_FIXTURE_DIR) + "/lib" + name + ".so", "lib/lib" + name + ".so");
    }

    RS_META_DOMAIN *Domain(RS_INSTANCE *inst = nullptr) { return RsConfDomainFind(inst ? inst : inst_); }

    std::vector<RS_META_HANDLER *> Handlers(RS_INSTANCE *inst = nullptr) {
        std::vector<RS_META_HANDLER *> handlers;
        RsConfDomainWalkHandler(
            Domain(inst),
            [](void *record, void *arg) -> u32 {
                static_cast<std::vector<RS_META_HANDLER *> *>(arg)->push_back(static_cast<RS_META_HANDLER *>(record));
                return 0;
            },
            &handlers);
        return handlers;
    }

    std::vector<RS_META_MODULE *> Modules() {
        std::vector<RS_META_MODULE *> modules;
        RsConfRootWalkModule(
            inst_,
            [](void *record, void *arg) -> u32 {
                static_cast<std::vector<RS_META_MODULE *> *>(arg)->push_back(static_cast<RS_META_MODULE *>(record));
                return 0;
            },
            &modules);
        return modules;
    }

    // What reached the kernel adapter since the instance was made: one line
    // per endpoint, group declaration, TLS set-up and URL, in order.
    std::vector<std::string> Calls() const {
        static const char *const prefixes[] = {"RsKernelDomainBind, ", "RsKernelGroupEnable, ",
                                               "RsKernelAuthEnable, Cfg is: ", "RsKernelAuthEnable pstMsRestCfg",
                                               "Reg hanlder, "};
        std::vector<std::string> calls;
        for (const auto &line : log_->Lines()) {
            for (const char *prefix : prefixes) {
                if (line.text.rfind(prefix, 0) == 0) calls.push_back(line.text);
            }
        }
        return calls;
    }

    // Captured lines, for failure messages.
    std::string Dump() const {
        std::string text;
        for (const auto &line : log_->Lines())
            text += "\n  [" + std::to_string(line.level) + "] " + line.text;
        return text;
    }

    // An exported counter of a loaded fixture module in lib/.
    u32 ModuleCounter(const std::string &name, const char *symbol) {
        void *handle = dlopen(deployment_.Path("lib/lib" + name + ".so").c_str(), RTLD_NOW | RTLD_NOLOAD);
        if (handle == nullptr) return 0;
        auto *counter = static_cast<u32 *>(dlsym(handle, symbol));
        dlclose(handle);
        return counter == nullptr ? 0 : *counter;
    }

    Deployment deployment_;
    RS_INSTANCE *inst_ = nullptr;
    u8 id_ = 0;
    // Attached after the platform configuration, which resets the log settings.
    std::optional<LogCapture> log_;
};

}  // namespace rstest
