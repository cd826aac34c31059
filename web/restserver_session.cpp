// Sessions: one per request in flight, kept in the instance's tree under a
// 32-bit id whose top byte names the instance, so any thread holding only
// the id finds it.
#include <stdlib.h>

#include "core/restserver_log.h"
#include "plat_msg.h"
#include "plat_sync.h"
#include "web/restserver_session.h"

// Caller holds the environment's lock for writing; the counter wraps at 16 bits.
extern "C" RS_API u32 RsSessionIdGen(RS_WEB_ENV *pstWebEnv) {
    pstWebEnv->usSessionSeq = static_cast<u16>(pstWebEnv->usSessionSeq + 1);
    return (static_cast<u32>(pstWebEnv->ucInstId) << 24) | pstWebEnv->usSessionSeq;
}

extern "C" RS_API s32 RsSessionIdCompare(const void *pKeyA, const void *pKeyB) {
    u32 uiA = *static_cast<const u32 *>(pKeyA);
    u32 uiB = *static_cast<const u32 *>(pKeyB);
    if (uiA < uiB) return -1;
    return uiA > uiB ? 1 : 0;
}

static void RsSessionSemInit(RS_SESSION *pstSession) {
    (void)pthread_rwlock_init(&pstSession->stSem.stLock, nullptr);
    RsListInit(&pstSession->stSem.stMsgList);
}

// The last reference: queued messages go back to the message service, and a
// semaphore its handler left made is destroyed.
static void RsSessionFree(RS_SESSION *pstSession) {
    (void)pthread_rwlock_wrlock(&pstSession->stSem.stLock);
    RsListWalk(&pstSession->stSem.stMsgList, [](RS_LIST_NODE *pstNode) {
        auto *pstMsg = RsListRecord<RS_SESSION_MSG>(pstNode);
        if (pstMsg->pMsg != nullptr) (void)DMS_MsgFree(RS_SESSION_MSG_OWNER, pstMsg->pMsg);
        RsListRemove(pstNode);
        free(pstMsg);
    });
    if (pstSession->stSem.bSemReady != 0) (void)ZEP_SemDestroy(&pstSession->stSem.stSem);
    (void)pthread_rwlock_unlock(&pstSession->stSem.stLock);
    (void)pthread_rwlock_destroy(&pstSession->stSem.stLock);
    free(pstSession);
}

static void RsSessionPut(RS_SESSION *pstSession) {
    if (__atomic_sub_fetch(&pstSession->uiRefs, 1, __ATOMIC_ACQ_REL) == 0) RsSessionFree(pstSession);
}

static void RsSessionObjectsFree(RS_SESSION *pstSession) {
    if (pstSession->pstRequest != nullptr) RsRequestFree(&pstSession->pstRequest);
    if (pstSession->pstResponse != nullptr) RsResponseFree(&pstSession->pstResponse);
}

// Everything but the id is built before the tree lock, which every request
// takes, is held only to number and insert the session. An id still held by
// a live session (after a full wrap) is never inserted twice: the new
// session is released and the request refused.
extern "C" RS_API RS_SESSION *RsSessionMake(RS_WEB_ENV *pstWebEnv, RS_HANDLER_CONTEXT *pstContext, void *pReqHandle,
                                            void *pRspHandle) {
    auto *pstSession = static_cast<RS_SESSION *>(calloc(1, sizeof(RS_SESSION)));
    if (pstSession == nullptr) return nullptr;
    pstSession->uiRefs = 1;
    pstSession->pstHandlerContext = pstContext;
    pstSession->pstRequest = RsRequestBuild(pstSession, pReqHandle);
    pstSession->pstResponse = RsResponseBuild(pstSession, pRspHandle);
    RsSessionSemInit(pstSession);
    VOS_AVL3_INIT_NODE(pstSession->stTreeNode);
    (void)pthread_rwlock_wrlock(&pstWebEnv->stLock);
    pstSession->uiSessionId = RsSessionIdGen(pstWebEnv);
    pstSession->stSem.uiSessionId = pstSession->uiSessionId;
    void *pClash =
        VOS_AVL3_Insert_Or_Find(&pstWebEnv->stSessions, &pstSession->stTreeNode, &pstWebEnv->stSessionTreeInfo);
    (void)pthread_rwlock_unlock(&pstWebEnv->stLock);
    if (pClash == nullptr) return pstSession;
    RsSessionObjectsFree(pstSession);
    RsSessionPut(pstSession);
    return nullptr;
}

// With bHold, the session is held before the tree lock is released, so its
// request may end but its memory stays until RsSessionUnhold.
static RS_SESSION *RsSessionLookup(u32 uiSessionId, bool bHold) {
    RS_WEB_ENV *pstWebEnv = RsWebInstanceGetBySessionId(uiSessionId);
    if (pstWebEnv == nullptr) {
        RS_LOG(RS_LOG_ERROR, "RsSessionFind Find session by sess-id(0x%08x) fail.", uiSessionId);
        return nullptr;
    }
    (void)pthread_rwlock_rdlock(&pstWebEnv->stLock);
    auto *pstSession =
        static_cast<RS_SESSION *>(VOS_AVL3_Find(&pstWebEnv->stSessions, &uiSessionId, &pstWebEnv->stSessionTreeInfo));
    if (pstSession != nullptr && bHold) {
        __atomic_add_fetch(&pstSession->uiRefs, 1, __ATOMIC_ACQ_REL);
        __atomic_add_fetch(&pstSession->uiHolds, 1, __ATOMIC_ACQ_REL);
    }
    (void)pthread_rwlock_unlock(&pstWebEnv->stLock);
    return pstSession;
}

extern "C" RS_API RS_SESSION *RsSessionFind(u32 uiSessionId) {
    return RsSessionLookup(uiSessionId, false);
}

extern "C" RS_API RS_SESSION *RsSessionHold(u32 uiSessionId) {
    return RsSessionLookup(uiSessionId, true);
}

extern "C" RS_API void RsSessionUnhold(RS_SESSION *pstSession) {
    u32 uiHolds = __atomic_load_n(&pstSession->uiHolds, __ATOMIC_ACQUIRE);
    do {
        if (uiHolds == 0) return;
    } while (!__atomic_compare_exchange_n(&pstSession->uiHolds, &uiHolds, uiHolds - 1, false, __ATOMIC_ACQ_REL,
                                          __ATOMIC_ACQUIRE));
    RsSessionPut(pstSession);
}

extern "C" RS_API void RsSessionDestroy(RS_WEB_ENV *pstWebEnv, RS_SESSION *pstSession) {
    (void)pthread_rwlock_wrlock(&pstWebEnv->stLock);
    VOS_AVL3_Delete(&pstWebEnv->stSessions, &pstSession->stTreeNode);
    (void)pthread_rwlock_unlock(&pstWebEnv->stLock);
    RsSessionObjectsFree(pstSession);
    RsSessionPut(pstSession);
}

// Requests and responses share their layout: the handle, then the session.
extern "C" RS_API RS_SESSION *RsSessionGet(const void *pObject) {
    return static_cast<const RS_REQUEST *>(pObject)->pstSession;
}

extern "C" RS_API u32 RESTSERVER_SessionIdGet(const void *pObject) {
    RS_SESSION *pstSession = RsSessionGet(pObject);
    return pstSession == nullptr ? RS_ERR : pstSession->uiSessionId;
}
