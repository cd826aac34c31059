// The kernel server of an instance: bring-up when the instance is made,
// the dead-loop monitor, the listen thread, and the stop at teardown.
#include <pthread.h>
#include <stdlib.h>
#include <unistd.h>

#include "adapter/restserver_kernel.h"
#include "adapter/restserver_trace.h"
#include "auth/restserver_auth_expr.h"
#include "auth/restserver_auth_lock.h"
#include "auth/restserver_auth_rules.h"
#include "auth/restserver_service_token.h"
#include "core/restserver_core.h"
#include "core/restserver_json_file.h"
#include "core/restserver_log.h"
#include "core/restserver_problem.h"
#include "plat_config.h"
#include "plat_kernel.h"
#include "plat_monitor.h"

#define RS_DEAD_LOOP_CHECK_MS 5000u
#define RS_DEAD_LOOP_MAX_RUN_MS 1200000u

extern "C" RS_API void RsServerDeadLoopCallBack(void) {
    RS_LOG(RS_LOG_ERROR, "Process exit because REST_Server exist DeadLoop.");
    _exit(1);
}

extern "C" RS_API u32 RsServerDeadLoopInit(void) {
    (void)CF_DeadLoopMonitorSwitch(1);
    (void)CF_DeadLoopCallBackSet(RsServerDeadLoopCallBack);
    (void)CF_DeadLoopCheckIntervalSet(RS_DEAD_LOOP_CHECK_MS);
    return CF_DeadLoopTaskMaxRunTimeSet(RS_DEAD_LOOP_MAX_RUN_MS);
}

// A bring-up that fails after the engine server was made releases it.
static RS_KERNEL_SERVER *RsKernelInitFail(RS_KERNEL_SERVER *pstServer) {
    if (pstServer->hServer != nullptr) (void)REST_ServerDestroy(pstServer->hServer);
    free(pstServer);
    return nullptr;
}

// Runs under the root store lock when an instance is made: nothing here
// waits on the network. The access rules are process-wide yet reloaded for
// every instance; the service JWT and URLs are read by the first bring-up
// that finds them and kept, since request threads may hold their entries.
extern "C" RS_API RS_KERNEL_SERVER *RsKernelInit(void) {
    auto *pstServer = static_cast<RS_KERNEL_SERVER *>(calloc(1, sizeof(RS_KERNEL_SERVER)));
    if (pstServer == nullptr) return nullptr;
    if (REST_ServerInit() != 0) {
        RS_LOG(RS_LOG_ERROR, "REST_ServerInit Fail.");
        return RsKernelInitFail(pstServer);
    }
    (void)RsServerDeadLoopInit();
    pstServer->hServer = REST_ServerCreate(0);
    (void)RsAuthTokenInfosInit();
    RsAuthMutexInit();
    if (RsAuthConfigLoad() != 0) {
        RS_LOG(RS_LOG_ERROR, "RsAuthConfigLoad Fail.");
        RsProblemReport(RS_INST_ID_NONE, "access rules not loaded from %s and %s: no instance can be made",
                        g_pcRightJsonPath, g_pcPolicyJsonPath);
        return RsKernelInitFail(pstServer);
    }
    if (JwtConfigLoad() != 0) {
        RS_LOG(RS_LOG_ERROR, "JwtConfigLoad Fail.");
        const char *pcWhy = RsJsonFileWhy()[0] != '\0' ? RsJsonFileWhy() : "no string member \"jwt\"";
        RsProblemReport(RS_INST_ID_NONE, "service JWT not loaded from %s (%s): no instance can be made",
                        RS_JWT_JSON_PATH, pcWhy);
        return RsKernelInitFail(pstServer);
    }
    if (ServiceUrlConfigLoad() != 0) {
        RS_LOG(RS_LOG_ERROR, "ServiceUrlConfigLoad Fail.");
        RsProblemReport(RS_INST_ID_NONE, "service URLs not loaded from %s (%s): no instance can be made",
                        RS_SERVICE_URL_JSON_PATH, RsJsonFileWhy());
        return RsKernelInitFail(pstServer);
    }
    return pstServer;
}

extern "C" RS_API u32 RsKernelStop(RS_KERNEL_SERVER *pstServer) {
    if (pstServer == nullptr) return RS_OK;
    if (pstServer->bListenThread != 0) (void)pthread_join(pstServer->ulListenThread, nullptr);
    pstServer->bListenThread = 0;
    if (pstServer->bStopped == 0 && pstServer->hServer != nullptr) {
        pstServer->bBusy = REST_ServerStop(pstServer->hServer) != 0 ? 1 : 0;
        RsTraceFlush();
    }
    pstServer->bStopped = 1;
    return pstServer->bBusy != 0 ? RS_ERR : RS_OK;
}

extern "C" RS_API void RsKernelUnInit(RS_KERNEL_SERVER *pstServer) {
    if (pstServer == nullptr) return;
    if (RsKernelStop(pstServer) != RS_OK) {
        RS_LOG(RS_LOG_ERROR, "Kernel server stopped with handlers still running, kept.");
    } else if (pstServer->hServer != nullptr) {
        (void)REST_ServerDestroy(pstServer->hServer);
    }
    free(pstServer);
}

extern "C" RS_API void *RsSocfListenProcess(void *pServer) {
    auto *pstServer = static_cast<RS_KERNEL_SERVER *>(pServer);
    RS_LOG(RS_LOG_INFO, "KernelServer Starting.");
    u32 uiRet = REST_ServerStart(pstServer->hServer, g_stSspBaseAppConfig.uiServingWord);
    RS_LOG(RS_LOG_INFO, "KernelServer Started, RetCode:%d.", uiRet);
    return nullptr;
}

// The engine's start returns once the server listens, so the thread is
// short-lived; it is joined at teardown.
extern "C" RS_API u32 RsKernelForkListenThread(RS_KERNEL_SERVER *pstServer) {
    if (pthread_create(&pstServer->ulListenThread, nullptr, RsSocfListenProcess, pstServer) == 0)
        pstServer->bListenThread = 1;
    return RS_OK;
}
