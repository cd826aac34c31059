// Holds the current platform configuration. Readers take copies under a lock
// because a test may re-read the configuration while other threads run.
#include <mutex>
#include <shared_mutex>

#include "config/platform_cfg.h"

namespace plat {
namespace {

struct CfgStore {
    std::shared_mutex mutex;
    PlatformCfg cfg;
};

CfgStore &Store() {
    static CfgStore *store = new CfgStore;  // never destroyed: read during exit
    return *store;
}

// Stable addresses handed out by the C getters; written only on replace.
PLAT_KERNEL_CFG_S g_kernelCfg{};
PLAT_SECURITY_SERVICE_CFG_S g_securityCfg{};
PLAT_OPS_CFG_S g_opsCfg{0, 0, {0, 0}, "127.0.0.1"};

}  // namespace

NodeCfg NodeCfgGet() {
    std::shared_lock<std::shared_mutex> lock(Store().mutex);
    return Store().cfg.node;
}

RestCfg RestCfgGet() {
    std::shared_lock<std::shared_mutex> lock(Store().mutex);
    return Store().cfg.rest;
}

void PlatformCfgReplace(const PlatformCfg &cfg) {
    std::unique_lock<std::shared_mutex> lock(Store().mutex);
    Store().cfg = cfg;
    g_kernelCfg = cfg.kernel;
    g_securityCfg = cfg.security;
    g_opsCfg = cfg.ops;
}

}  // namespace plat

extern "C" PLAT_API const PLAT_KERNEL_CFG_S *PLAT_KernelCfgGet(void) {
    return &plat::g_kernelCfg;
}

extern "C" PLAT_API const PLAT_SECURITY_SERVICE_CFG_S *PLAT_SecurityServiceCfgGet(void) {
    return &plat::g_securityCfg;
}

extern "C" PLAT_API const PLAT_OPS_CFG_S *PLAT_OpsCfgGet(void) {
    return &plat::g_opsCfg;
}
