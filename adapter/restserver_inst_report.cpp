// The start-up report of an instance: the URLs its configuration names, how
// many of them the engine took, and where its server listens.
#include <string.h>

#include "adapter/restserver_kernel.h"
#include "config/restserver_cfg.h"
#include "core/restserver_core.h"
#include "core/restserver_string.h"
#include "plat_kernel.h"
#include "web/restserver_web.h"

static u32 RsUrlsConfigured(RS_INSTANCE *pstInst) {
    u32 uiCount = 0;
    RsConfRootWalkDomain(
        pstInst,
        [](void *pDomain, void *pCount) {
            RsConfDomainWalkHandler(
                static_cast<RS_META_DOMAIN *>(pDomain),
                [](void *, void *pHandlers) {
                    ++*static_cast<u32 *>(pHandlers);
                    return RS_OK;
                },
                pCount);
            return RS_OK;
        },
        &uiCount);
    return uiCount;
}

// The listen thread ends once the engine listens or has failed to, so after
// joining it the answer is final.
static void RsListenThreadJoin(RS_KERNEL_SERVER *pstServer) {
    if (pstServer->bListenThread == 0) return;
    (void)pthread_join(pstServer->ulListenThread, nullptr);
    pstServer->bListenThread = 0;
}

extern "C" RS_API uint32_t RESTSERVER_InstReportGet(RS_INSTANCE *pstInst, RS_INST_REPORT *pstReport) {
    if (pstInst == nullptr || pstReport == nullptr) return RS_ERR;
    memset(pstReport, 0, sizeof(*pstReport));
    if (pstInst->pstConfEnv != nullptr) pstReport->uiUrlsConfigured = RsUrlsConfigured(pstInst);
    RS_KERNEL_SERVER *pstServer = pstInst->pstWebEnv != nullptr ? pstInst->pstWebEnv->pstKernel : nullptr;
    if (pstServer == nullptr) {
        (void)RsStrLCopy(pstReport->acListen, "no kernel server: the engine or the access rules failed",
                         sizeof(pstReport->acListen));
        return RS_OK;
    }
    RsListenThreadJoin(pstServer);
    pstReport->uiUrlsRegistered = pstServer->uiUrlsRegistered;
    u32 uiRet = REST_ServerListenGet(pstServer->hServer, pstReport->acListen, sizeof(pstReport->acListen));
    pstReport->uiListening = uiRet == 0 ? 1u : 0u;
    return RS_OK;
}
