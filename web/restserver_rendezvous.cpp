// Synchronous response rendezvous: the handler waits on its session's
// semaphore while another thread queues the answer message and posts.
#include <stddef.h>
#include <stdlib.h>

#include "core/restserver_log.h"
#include "plat_sync.h"
#include "web/restserver_session.h"

static RS_SESSION *RsSessionOf(RS_SESSION_SEM *pstHandle) {
    return reinterpret_cast<RS_SESSION *>(reinterpret_cast<char *>(pstHandle) - offsetof(RS_SESSION, stSem));
}

// A second call hands back the semaphore already made: re-making it would
// lose the wake of a thread that waits on it.
extern "C" RS_API u32 RESTSERVER_SemInit(u32 uiSessionId, RS_SESSION_SEM **ppstHandle) {
    if (ppstHandle == nullptr) return RS_ERR;
    *ppstHandle = nullptr;
    RS_SESSION *pstSession = RsSessionFind(uiSessionId);
    if (pstSession == nullptr) {
        RS_LOG(RS_LOG_ERROR, "RESTSERVER_SemInit Find session fail, sess-id:0x%08x", uiSessionId);
        return RS_ERR;
    }
    RS_SESSION_SEM *pstSem = &pstSession->stSem;
    RS_LOG(RS_LOG_FINE, "RESTSERVER_SemInit, sess-id:0x%08x", pstSem->uiSessionId);
    (void)pthread_rwlock_wrlock(&pstSem->stLock);
    u32 uiRet = pstSem->bSemReady != 0 ? 0 : ZEP_SemInit(&pstSem->stSem, 0, 0);
    if (uiRet != RS_ERR) pstSem->bSemReady = 1;
    (void)pthread_rwlock_unlock(&pstSem->stLock);
    if (uiRet == RS_ERR) {
        RS_LOG(RS_LOG_ERROR, "RESTSERVER_SemInit Init sem fail, sess-id:0x%08x", pstSem->uiSessionId);
        return RS_ERR;
    }
    *ppstHandle = pstSem;
    return 0;
}

// The answering side's lookup holds the session until its RESTSERVER_SemWake,
// so the block stays valid even when the handler returns first.
extern "C" RS_API u32 RESTSERVER_SemFind(u32 uiSessionId, RS_SESSION_SEM **ppstHandle) {
    if (ppstHandle == nullptr) return RS_ERR;
    *ppstHandle = nullptr;
    RS_SESSION *pstSession = RsSessionHold(uiSessionId);
    if (pstSession == nullptr) {
        RS_LOG(RS_LOG_ERROR, "RESTSERVER_SemMake Find session fail, sess-id:0x%08x", uiSessionId);
        return RS_ERR;
    }
    *ppstHandle = &pstSession->stSem;
    return 0;
}

extern "C" RS_API u32 RESTSERVER_SemWait(RS_SESSION_SEM *pstHandle) {
    RS_LOG(RS_LOG_FINE, "RESTSERVER_SemWait start, sess-id:0x%08x", pstHandle->uiSessionId);
    u32 uiRet = ZEP_SemWait(&pstHandle->stSem);
    if (uiRet != 0) {
        RS_LOG(RS_LOG_ERROR, "RESTSERVER_SemWait Wait sem fail(ret:%d), sess-id:0x%08x", static_cast<int>(uiRet),
               pstHandle->uiSessionId);
        return RS_ERR;
    }
    RS_LOG(RS_LOG_FINE, "RESTSERVER_SemWait end, sess-id:0x%08x", pstHandle->uiSessionId);
    return 0;
}

// Posts only a semaphore that is still made: a handler that gave up and
// destroyed it is not woken. Then the answering side's hold is given back,
// after which the handle must not be used again.
extern "C" RS_API u32 RESTSERVER_SemWake(RS_SESSION_SEM *pstHandle) {
    u32 uiSessionId = pstHandle->uiSessionId;
    RS_LOG(RS_LOG_FINE, "RESTSERVER_SemWake start, sess-id:0x%08x", uiSessionId);
    (void)pthread_rwlock_rdlock(&pstHandle->stLock);
    u32 uiRet = pstHandle->bSemReady != 0 ? ZEP_SemPost(&pstHandle->stSem) : RS_ERR;
    (void)pthread_rwlock_unlock(&pstHandle->stLock);
    RsSessionUnhold(RsSessionOf(pstHandle));
    if (uiRet != 0) {
        RS_LOG(RS_LOG_ERROR, "RESTSERVER_SemWake Wake sem fail(ret:%d), sess-id:0x%08x", static_cast<int>(uiRet),
               uiSessionId);
        return RS_ERR;
    }
    return 0;
}

extern "C" RS_API u32 RESTSERVER_SemDestroy(RS_SESSION_SEM *pstHandle) {
    RS_LOG(RS_LOG_FINE, "RESTSERVER_SemDestroy, sess-id:0x%08x", pstHandle->uiSessionId);
    (void)pthread_rwlock_wrlock(&pstHandle->stLock);
    u32 uiRet = pstHandle->bSemReady != 0 ? ZEP_SemDestroy(&pstHandle->stSem) : RS_ERR;
    if (uiRet == 0) pstHandle->bSemReady = 0;
    (void)pthread_rwlock_unlock(&pstHandle->stLock);
    if (uiRet != 0) {
        RS_LOG(RS_LOG_ERROR, "RESTSERVER_SemDestroy Destroy sem fail(ret:%d), sess-id:0x%08x", static_cast<int>(uiRet),
               pstHandle->uiSessionId);
        return RS_ERR;
    }
    return 0;
}

extern "C" RS_API u32 RESTSERVER_RspMsgSet(RS_SESSION_SEM *pstHandle, void *pMsg) {
    RS_LOG(RS_LOG_FINE, "RESTSERVER_RspMsgSet sess-id:0x%08x", pstHandle->uiSessionId);
    RS_LOG(RS_LOG_FINE, "RESTSERVER_RspMsgSet lock");
    (void)pthread_rwlock_wrlock(&pstHandle->stLock);
    if (pMsg == nullptr) {
        (void)pthread_rwlock_unlock(&pstHandle->stLock);
        RS_LOG(RS_LOG_ERROR, "RESTSERVER_RspMsgSet dst ppRspMsg is null, sess-id:0x%08x", pstHandle->uiSessionId);
        return RS_ERR;
    }
    auto *pstNode = static_cast<RS_RSP_MSG_NODE *>(calloc(1, sizeof(RS_RSP_MSG_NODE)));
    if (pstNode == nullptr) {
        (void)pthread_rwlock_unlock(&pstHandle->stLock);
        RS_LOG(RS_LOG_ERROR, "RESTSERVER_RspMsgSet malloc fail, sess-id:0x%08x", pstHandle->uiSessionId);
        return RS_ERR;
    }
    pstNode->pMsg = pMsg;
    RsListAppend(&pstHandle->stMsgList, &pstNode->stNode);
    (void)pthread_rwlock_unlock(&pstHandle->stLock);
    RS_LOG(RS_LOG_FINE, "RESTSERVER_RspMsgSet unlock");
    return 0;
}

extern "C" RS_API u32 RESTSERVER_RspMsgPick(RS_SESSION_SEM *pstHandle, void **ppMsg) {
    RS_LOG(RS_LOG_FINE, "RESTSERVER_RspMsgPick sess-id:0x%08x", pstHandle->uiSessionId);
    RS_LOG(RS_LOG_FINE, "RESTSERVER_RspMsgPick lock");
    (void)pthread_rwlock_wrlock(&pstHandle->stLock);
    if (ppMsg == nullptr) {
        (void)pthread_rwlock_unlock(&pstHandle->stLock);
        RS_LOG(RS_LOG_ERROR, "RESTSERVER_RspMsgPick dst ppRspMsg is null, sess-id:0x%08x", pstHandle->uiSessionId);
        return RS_ERR;
    }
    *ppMsg = nullptr;
    if (RsListIsEmpty(&pstHandle->stMsgList)) {
        (void)pthread_rwlock_unlock(&pstHandle->stLock);
        RS_LOG(RS_LOG_FINE, "RESTSERVER_RspMsgPick Get rsp msg is null1, sess-id:0x%08x", pstHandle->uiSessionId);
        return RS_ERR;
    }
    auto *pstNode = RsListRecord<RS_RSP_MSG_NODE>(pstHandle->stMsgList.next);
    if (pstNode->pMsg == nullptr) {
        (void)pthread_rwlock_unlock(&pstHandle->stLock);
        RS_LOG(RS_LOG_ERROR, "RESTSERVER_RspMsgPick Get rsp msg is null2, sess-id:0x%08x", pstHandle->uiSessionId);
        return RS_ERR;
    }
    *ppMsg = pstNode->pMsg;
    RsListRemove(&pstNode->stNode);
    free(pstNode);
    (void)pthread_rwlock_unlock(&pstHandle->stLock);
    RS_LOG(RS_LOG_FINE, "RESTSERVER_RspMsgPick unlock");
    return 0;
}

extern "C" RS_API u32 RESTSERVER_RspMsgListIsEmpty(RS_SESSION_SEM *pstHandle) {
    return pstHandle->stMsgList.next == &pstHandle->stMsgList ? 1u : 0u;
}
