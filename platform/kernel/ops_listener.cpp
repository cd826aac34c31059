// The operations listener: one engine server of its own, plain HTTP, one
// loop, two routes (/ready and /metrics), made and started from the "ops"
// settings. Its own answers and connections are never counted.
#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <string>

#include "kernel/api_guard.h"
#include "kernel/server.h"
#include "log/log_macro.h"
#include "metrics/metrics.h"
#include "plat_config.h"
#include "plat_kernel.h"

namespace kernel {

namespace {

constexpr uint32_t kOpsLoops = 1;
constexpr uint32_t kWhySize = 256;
const char kMetricsType[] = "text/plain; version=0.0.4; charset=utf-8";

struct Ops {
    std::mutex mutex;  // start, stop and the listen text
    std::unique_ptr<Server> server;
    std::string listen = "not enabled";
    std::atomic<REST_READY_FUNC> ready{nullptr};
};

Ops &OpsGet() {
    static auto *ops = new Ops();  // never destroyed: a stop may leave the server to a running entry
    return *ops;
}

// Only GET (and HEAD, which the engine answers without the body) reads them.
bool MethodRefused(REST_REQ req) {
    u32 method = REST_RequestMethodGet(req);
    if (method == REST_METHOD_GET || method == REST_METHOD_HEAD) return false;
    REST_ResponseHeadAdd(req, "Allow", "GET, HEAD");
    REST_ResponseSend(req, 405, "Method Not Allowed\n", 19);
    return true;
}

void ReadyEntry(REST_REQ req, void *, void *) {
    if (MethodRefused(req)) return;
    REST_READY_FUNC ready = OpsGet().ready.load(std::memory_order_acquire);
    char why[kWhySize] = "no readiness function";
    u32 result = ready != nullptr ? ready(why, sizeof(why)) : PLAT_ERR;
    why[sizeof(why) - 1] = '\0';
    std::string body = result == PLAT_OK ? std::string("ready") : std::string(why);
    body.push_back('\n');
    REST_ResponseHeadAdd(req, "Content-Type", "text/plain; charset=utf-8");
    REST_ResponseSend(req, result == PLAT_OK ? 200 : 503, body.data(), static_cast<u32>(body.size()));
}

void MetricsEntry(REST_REQ req, void *, void *) {
    if (MethodRefused(req)) return;
    std::string body;
    metrics::Render(body);
    REST_ResponseHeadAdd(req, "Content-Type", kMetricsType);
    REST_ResponseSend(req, 200, body.data(), static_cast<u32>(body.size()));
}

u32 OpsStart(Ops &ops) {
    const PLAT_OPS_CFG_S &cfg = *PLAT_OpsCfgGet();
    if (ops.server != nullptr || cfg.uiEnabled == 0) return PLAT_OK;
    auto server = std::make_unique<Server>();
    server->InternalSet(kOpsLoops);
    server->NameSet("ops");
    bool v6 = std::string_view(cfg.acHost).find(':') != std::string_view::npos;
    server->EndpointAdd(REST_END_POINT{v6 ? 1u : 0u, cfg.usPort, {0, 0}, cfg.acHost}, 0);
    server->RouteAdd("/ready", Route{ReadyEntry, nullptr, REST_GROUP_NONE, {}, nullptr});
    server->RouteAdd("/metrics", Route{MetricsEntry, nullptr, REST_GROUP_NONE, {}, nullptr});
    u32 result = server->Start();
    server->ListenInfo(ops.listen);
    if (result != PLAT_OK) {
        PLAT_LOG(PLAT_LOG_ERROR, "operations listener not started: %s", ops.listen.c_str());
        return PLAT_ERR;
    }
    metrics::EnabledSet(true);
    PLAT_LOG(PLAT_LOG_INFO, "operations listener on %s: /ready, /metrics", ops.listen.c_str());
    ops.server = std::move(server);
    return PLAT_OK;
}

}  // namespace

}  // namespace kernel

using kernel::Ops;
using kernel::OpsGet;

extern "C" {

PLAT_API void REST_OpsReadyFuncSet(REST_READY_FUNC pfnReady) {
    OpsGet().ready.store(pfnReady, std::memory_order_release);
}

PLAT_API u32 REST_OpsStart(void) {
    Ops &ops = OpsGet();
    return kernel::Guarded("operations listener start", [&] {
        std::lock_guard lock(ops.mutex);
        return kernel::OpsStart(ops);
    });
}

PLAT_API u32 REST_OpsStop(void) {
    Ops &ops = OpsGet();
    return kernel::Guarded("operations listener stop", [&] {
        std::lock_guard lock(ops.mutex);
        metrics::EnabledSet(false);
        if (ops.server == nullptr) return PLAT_OK;
        if (ops.server->Stop() != PLAT_OK) {
            (void)ops.server.release();  // an entry still runs in it: kept rather than freed under it
        }
        ops.server.reset();
        ops.listen = "not enabled";
        return PLAT_OK;
    });
}

PLAT_API u32 REST_OpsListenGet(char *pcText, u32 uiSize) {
    if (pcText == nullptr || uiSize == 0) return PLAT_ERR;
    Ops &ops = OpsGet();
    return kernel::Guarded("operations listener query", [&] {
        std::lock_guard lock(ops.mutex);
        kernel::TextCopyOut(ops.listen, pcText, uiSize);
        return ops.server != nullptr ? PLAT_OK : PLAT_ERR;
    });
}

}  // extern "C"
