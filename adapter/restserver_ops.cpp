// The system's side of the operations listener: the readiness answer from
// the instance states, the counters, and starting the engine's listener.
#include "adapter/restserver_ops.h"

#include <atomic>

#include "adapter/restserver_kernel.h"
#include "core/restserver_core.h"
#include "core/restserver_log.h"
#include "core/restserver_metrics.h"
#include "core/restserver_problem.h"
#include "plat_kernel.h"
#include "plat_text.h"
#include "web/restserver_web.h"

namespace {

const char *const g_apcStateNames[] = {"idle", "parsing", "loading", "registering", "starting", "listening", "failed"};

std::atomic<bool> g_bOpsTried{false};

}  // namespace

// Why the instance does not serve yet, or false when it does: its state is
// listening and its server is bound. The state turns listening when the
// listen thread is started, before the bind is known.
static bool RsInstNotServing(RS_INSTANCE *pstInst, char *pcWhy, u32 uiSize) {
    u32 uiState = RsStateGet(pstInst);
    if (uiState != RS_STATE_LISTENING) {
        const char *pcState = uiState <= RS_STATE_FAILED ? g_apcStateNames[uiState] : "unknown";
        (void)snprintf_s(pcWhy, uiSize, uiSize - 1, "instance %u %s", pstInst->ucInstId, pcState);
        return true;
    }
    char acListen[128] = {};
    RS_KERNEL_SERVER *pstServer = pstInst->pstWebEnv != nullptr ? pstInst->pstWebEnv->pstKernel : nullptr;
    if (pstServer != nullptr && REST_ServerListenGet(pstServer->hServer, acListen, sizeof(acListen)) == 0) return false;
    (void)snprintf_s(pcWhy, uiSize, uiSize - 1, "instance %u not listening: %s", pstInst->ucInstId,
                     pstServer != nullptr ? acListen : "no kernel server");
    return true;
}

// Under the root store lock: a record is freed only after its slot is
// cleared under that lock, so every record read here is alive.
extern "C" RS_API u32 RsOpsReady(char *pcWhy, u32 uiSize) {
    if (g_stRootEnvStore.bInited == 0) {
        (void)snprintf_s(pcWhy, uiSize, uiSize - 1, "not initialised");
        return RS_ERR;
    }
    u32 uiMade = 0;
    bool bWaiting = false;
    pthread_mutex_lock(&g_stRootEnvStore.stLock);
    for (u32 i = 0; i < RS_MAX_INST_NUM && !bWaiting; ++i) {
        RS_INSTANCE *pstInst = RsRootInstanceGet(static_cast<u8>(i));
        if (pstInst == nullptr) continue;
        ++uiMade;
        bWaiting = RsInstNotServing(pstInst, pcWhy, uiSize);
    }
    pthread_mutex_unlock(&g_stRootEnvStore.stLock);
    if (uiMade == 0) (void)snprintf_s(pcWhy, uiSize, uiSize - 1, "no instance made");
    return uiMade == 0 || bWaiting ? RS_ERR : RS_OK;
}

extern "C" RS_API void RsOpsStart(void) {
    if (g_bOpsTried.exchange(true)) return;
    RsMetricsRegister();
    REST_OpsReadyFuncSet(RsOpsReady);
    if (REST_OpsStart() == 0) return;
    char acWhy[256] = {};
    (void)REST_OpsListenGet(acWhy, sizeof(acWhy));
    RS_LOG(RS_LOG_ERROR, "Operations listener not started: %s.", acWhy);
    RsProblemReport(RS_INST_ID_NONE, "operations listener (/ready, /metrics) not started: %s", acWhy);
}

extern "C" RS_API void RsOpsStop(void) {
    (void)REST_OpsStop();
    REST_OpsReadyFuncSet(nullptr);
    g_bOpsTried.store(false);
}
