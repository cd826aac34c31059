// The instance's web environment: its kernel server, its session tree and
// the handler contexts of its URLs; the enable operations that pass the
// configuration on to the kernel adapter; the listen step of the start-up.
#include <stddef.h>
#include <stdlib.h>

#include "core/restserver_log.h"
#include "core/restserver_string.h"
#include "plat_sync.h"
#include "web/restserver_session.h"
#include "web/restserver_web.h"

static void RsWebEnvTreeInit(RS_WEB_ENV *pstWebEnv) {
    pstWebEnv->stSessions = {nullptr, nullptr, nullptr};
    pstWebEnv->stSessionTreeInfo.pfnCompare = RsSessionIdCompare;
    pstWebEnv->stSessionTreeInfo.usKeyOffset = static_cast<u16>(offsetof(RS_SESSION, uiSessionId));
    pstWebEnv->stSessionTreeInfo.usNodeOffset = static_cast<u16>(offsetof(RS_SESSION, stTreeNode));
}

extern "C" RS_API RS_WEB_ENV *RsWebEnvInit(RS_INSTANCE *pstInst, u32 uiInstId) {
    u8 ucInstId = static_cast<u8>(uiInstId);
    RS_LOG(RS_LOG_INFO, "RsWeb(inst:%d) init start.", ucInstId);
    auto *pstWebEnv = static_cast<RS_WEB_ENV *>(calloc(1, sizeof(RS_WEB_ENV)));
    if (pstWebEnv == nullptr) {
        RS_LOG(RS_LOG_ERROR, "RsWeb(inst:%d) alloc fail.", ucInstId);
        return nullptr;
    }
    pstWebEnv->uiMagic = RS_WEB_MAGIC;
    (void)pthread_rwlock_init(&pstWebEnv->stLock, nullptr);
    pstWebEnv->pstInst = pstInst;
    pstWebEnv->pstKernel = RsKernelInit();
    pstWebEnv->usSessionSeq = 0;
    pstWebEnv->ucInstId = ucInstId;
    RsWebEnvTreeInit(pstWebEnv);
    RsListInit(&pstWebEnv->stContextList);
    RS_LOG(RS_LOG_INFO, "RsWeb(inst:%d) init end.", ucInstId);
    return pstWebEnv;
}

// Handlers still running after the stop's grace period may wait on their
// session for good: each waiting one is woken (its pick then fails), and
// everything they can reach is kept rather than freed under them.
static void RsWebEnvAbandon(RS_WEB_ENV *pstWebEnv) {
    (void)pthread_rwlock_rdlock(&pstWebEnv->stLock);
    for (auto *pstSession =
             static_cast<RS_SESSION *>(VOS_AVL3_First(&pstWebEnv->stSessions, &pstWebEnv->stSessionTreeInfo));
         pstSession != nullptr; pstSession = static_cast<RS_SESSION *>(
                                    VOS_AVL3_Next(&pstSession->stTreeNode, &pstWebEnv->stSessionTreeInfo))) {
        (void)pthread_rwlock_rdlock(&pstSession->stSem.stLock);
        if (pstSession->stSem.bSemReady != 0) (void)ZEP_SemPost(&pstSession->stSem.stSem);
        (void)pthread_rwlock_unlock(&pstSession->stSem.stLock);
    }
    (void)pthread_rwlock_unlock(&pstWebEnv->stLock);
    RS_LOG(RS_LOG_ERROR, "RsWeb(inst:%d) stopped with handlers still running: its sessions and contexts are kept.",
           pstWebEnv->ucInstId);
}

// The kernel server is stopped first, so no request still uses a session
// or a handler context when they are released.
extern "C" RS_API void RsWebEnvUnInit(RS_WEB_ENV *pstWebEnv) {
    if (pstWebEnv == nullptr) {
        RS_LOG(RS_LOG_ERROR, "RS_WEB_ENV is null.");
        return;
    }
    if (RsKernelStop(pstWebEnv->pstKernel) != RS_OK) {
        RsWebEnvAbandon(pstWebEnv);
        return;
    }
    RsKernelUnInit(pstWebEnv->pstKernel);
    pstWebEnv->pstKernel = nullptr;
    auto *pstSession = static_cast<RS_SESSION *>(VOS_AVL3_First(&pstWebEnv->stSessions, &pstWebEnv->stSessionTreeInfo));
    while (pstSession != nullptr) {
        auto *pstNext =
            static_cast<RS_SESSION *>(VOS_AVL3_Next(&pstSession->stTreeNode, &pstWebEnv->stSessionTreeInfo));
        RsSessionDestroy(pstWebEnv, pstSession);
        pstSession = pstNext;
    }
    RsListWalk(&pstWebEnv->stContextList, [](RS_LIST_NODE *pstNode) {
        auto *pstContext = reinterpret_cast<RS_HANDLER_CONTEXT *>(reinterpret_cast<char *>(pstNode) -
                                                                  offsetof(RS_HANDLER_CONTEXT, stNode));
        free(const_cast<char *>(pstContext->pcUrl));
        free(pstContext);
    });
    (void)pthread_rwlock_destroy(&pstWebEnv->stLock);
    free(pstWebEnv);
}

// An instance whose kernel bring-up failed registers nothing and never listens.
static bool RsWebKernelReady(const RS_WEB_ENV *pstWebEnv, const char *pcWhat) {
    if (pstWebEnv != nullptr && pstWebEnv->pstKernel != nullptr) return true;
    RS_LOG(RS_LOG_ERROR, "RsWeb has no kernel server, %s ignored.", pcWhat);
    return false;
}

extern "C" RS_API void RsDomainEnable(RS_WEB_ENV *pstWebEnv, const char *pcHost, const char *pcPort) {
    if (!RsWebKernelReady(pstWebEnv, "domain")) return;
    RsKernelDomainBind(pstWebEnv->pstKernel, pcHost, pcPort);
}

extern "C" RS_API u32 RsGroupEnable(RS_WEB_ENV *pstWebEnv, u32 uiGroupCount) {
    if (!RsWebKernelReady(pstWebEnv, "group")) return RS_ERR;
    return RsKernelGroupEnable(pstWebEnv->pstKernel, uiGroupCount);
}

// Handed over even without a kernel server: the adapter owns the auth
// entry's TLS record from here and releases it either way.
extern "C" RS_API void RsAuthEnable(RS_WEB_ENV *pstWebEnv, RS_META_AUTH *pstAuth) {
    RS_KERNEL_SERVER *pstKernel = RsWebKernelReady(pstWebEnv, "auth") ? pstWebEnv->pstKernel : nullptr;
    RsKernelAuthEnable(pstKernel, pstAuth);
}

extern "C" RS_API void RsHandlerEnable(RS_WEB_ENV *pstWebEnv, u32 uiGroupId, const char *pcUrl,
                                       RS_HANDLER_FUNC pfnHandler) {
    if (!RsWebKernelReady(pstWebEnv, "handler")) return;
    auto *pstContext = static_cast<RS_HANDLER_CONTEXT *>(calloc(1, sizeof(RS_HANDLER_CONTEXT)));
    if (pstContext == nullptr) {
        RS_LOG(RS_LOG_ERROR, "RS_HANDLER_CONTEXT(GrpId:%d, Url:%s) alloc fail.", uiGroupId, pcUrl);
        return;
    }
    // A copy: the configuration is released before the kernel server stops, and trace records name it.
    pstContext->pcUrl = RsStrDup(pcUrl);
    if (pstContext->pcUrl == nullptr) {
        RS_LOG(RS_LOG_ERROR, "RS_HANDLER_CONTEXT(GrpId:%d, Url:%s) alloc fail.", uiGroupId, pcUrl);
        free(pstContext);
        return;
    }
    pstContext->uiGroupId = uiGroupId;
    pstContext->pstWebEnv = pstWebEnv;
    pstContext->pfnHandler = pfnHandler;
    RsListAppend(&pstWebEnv->stContextList, &pstContext->stNode);
    RsKernelHandlerReg(pstWebEnv->pstKernel, pstContext);
}

extern "C" RS_API u32 RsStartListen(RS_INSTANCE *pstInst) {
    RsStateSet(pstInst, RS_STATE_STARTING);
    if (!RsWebKernelReady(pstInst->pstWebEnv, "listen")) return RS_ERR;
    return RsKernelForkListenThread(pstInst->pstWebEnv->pstKernel);
}

extern "C" RS_API u32 RsCheckAbort(RS_WEB_ENV *pstWebEnv) {
    return RsStateGet(pstWebEnv->pstInst) > RS_STATE_LISTENING ? 1u : 0u;
}

// The context is shared by every request of its URL, so later requests see the callback too.
extern "C" RS_API RS_HANDLER_CONTEXT *RsCallbackReg(RS_SESSION *pstSession, void *pCallback) {
    pstSession->pstHandlerContext->pCallback = pCallback;
    return pstSession->pstHandlerContext;
}

extern "C" RS_API RS_WEB_ENV *RsWebInstanceGet(u32 uiInstId) {
    RS_INSTANCE *pstInst = RsRootInstanceGet(static_cast<u8>(uiInstId));
    if (pstInst == nullptr) {
        RS_LOG(RS_LOG_ERROR, "RsWebInstanceGet Get instance by id(%d) fail.", uiInstId);
        return nullptr;
    }
    return pstInst->pstWebEnv;
}

// The top byte of a session id is the instance id.
extern "C" RS_API RS_WEB_ENV *RsWebInstanceGetBySessionId(u32 uiSessionId) {
    RS_WEB_ENV *pstWebEnv = RsWebInstanceGet(uiSessionId >> 24);
    if (pstWebEnv == nullptr) {
        RS_LOG(RS_LOG_ERROR, "RsWebInstanceGetBySessionId Get instance by sess-id(0x%08x) fail.", uiSessionId);
        return nullptr;
    }
    return pstWebEnv;
}
