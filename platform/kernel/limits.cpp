// Engine limits: platform settings over safe defaults.
#include "kernel/limits.h"

#include <sched.h>

#include <thread>

#include "plat_config.h"

namespace kernel {

namespace {

uint32_t Or(uint32_t value, uint32_t fallback) {
    return value != 0 ? value : fallback;
}

// Cores this process may run on: a process pinned to one core gets one loop.
uint32_t CoreCount() {
    cpu_set_t allowed;
    if (sched_getaffinity(0, sizeof(allowed), &allowed) == 0 && CPU_COUNT(&allowed) > 0) return CPU_COUNT(&allowed);
    unsigned cores = std::thread::hardware_concurrency();
    return cores != 0 ? cores : 1;
}

}  // namespace

Limits LimitsLoad() {
    PLAT_KERNEL_CFG_S none{};
    const PLAT_KERNEL_CFG_S *cfg = PLAT_KernelCfgGet();
    if (cfg == nullptr) cfg = &none;
    return Limits{
        .io_threads = Or(cfg->uiIoThreads, CoreCount()),
        .workers = Or(cfg->uiWorkers, 64),
        .group_workers = Or(cfg->uiGroupWorkers, 8),
        .queue_depth = Or(cfg->uiQueueDepth, 1024),
        .stop_grace_ms = Or(cfg->uiStopGraceMs, 10000),
        .header_limit = Or(cfg->uiHeaderLimit, 16 * 1024),
        .target_limit = Or(cfg->uiTargetLimit, 8 * 1024),
        .body_limit = Or(cfg->uiBodyLimit, 8 * 1024 * 1024),
        .header_timeout_ms = Or(cfg->uiHeaderTimeoutMs, 10000),
        .idle_timeout_ms = Or(cfg->uiIdleTimeoutMs, 60000),
        .write_timeout_ms = Or(cfg->uiWriteTimeoutMs, 30000),
        .max_connections = Or(cfg->uiMaxConnections, 10000),
        .max_fields = Or(cfg->uiMaxFields, 100),
    };
}

}  // namespace kernel
