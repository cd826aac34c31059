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

// A session, its request and its response in one block, so a request costs
// one allocation at most; ended blocks are kept on the ending thread's free
// list and reused by the next request made there. A block ends on whichever
// thread drops the last reference (an answering thread, for a rendezvous),
// so the lists are per thread and need no lock.
struct RsSessionBlock {
    RS_SESSION stSession; /* first: a session pointer is its block's */
    RS_REQUEST stRequest;
    RS_RESPONSE stResponse;
    RsSessionBlock *pstNextFree;
};

namespace {

// Enough for the requests a loop thread has in flight at once; a thread
// ending more than this (one that answers many rendezvous) frees the rest.
constexpr u32 kFreeBlocksPerThread = 64;

// The lock of a listed block stays made, so reuse skips making it again.
// The list itself is plain data, so reaching it costs no guard; the first
// block a thread lists arms the reaper that frees the list at thread exit.
struct RsSessionFreeList {
    RsSessionBlock *pstHead;
    u32 uiCount;
    bool bReaperArmed;
};

thread_local RsSessionFreeList t_stFreeBlocks;

struct RsSessionFreeListReaper {
    ~RsSessionFreeListReaper() {
        RsSessionFreeList &stList = t_stFreeBlocks;
        while (stList.pstHead != nullptr) {
            RsSessionBlock *pstBlock = stList.pstHead;
            stList.pstHead = pstBlock->pstNextFree;
            (void)pthread_rwlock_destroy(&pstBlock->stSession.stSem.stLock);
            free(pstBlock);
        }
        stList.uiCount = kFreeBlocksPerThread;  // full: a block ended later in the thread's exit is freed
    }
};

void RsSessionFreeListReaperArm(RsSessionFreeList &stList) {
    thread_local RsSessionFreeListReaper stReaper;
    (void)&stReaper;
    stList.bReaperArmed = true;
}

}  // namespace

// Every field a request may have changed is set again: nothing of the
// block's previous session reaches the next one.
static RS_SESSION *RsSessionBlockTake(void) {
    RsSessionFreeList &stList = t_stFreeBlocks;
    RsSessionBlock *pstBlock = stList.pstHead;
    if (pstBlock != nullptr) {
        stList.pstHead = pstBlock->pstNextFree;
        --stList.uiCount;
    } else {
        pstBlock = static_cast<RsSessionBlock *>(malloc(sizeof(RsSessionBlock)));
        if (pstBlock == nullptr) return nullptr;
        (void)pthread_rwlock_init(&pstBlock->stSession.stSem.stLock, nullptr);
    }
    RS_SESSION *pstSession = &pstBlock->stSession;
    VOS_AVL3_INIT_NODE(pstSession->stTreeNode);
    pstSession->pstRequest = &pstBlock->stRequest;
    pstSession->pstResponse = &pstBlock->stResponse;
    pstSession->pstHandlerContext = nullptr;
    RsListInit(&pstSession->stSem.stMsgList);
    pstSession->stSem.uiSessionId = 0;
    pstSession->stSem.bSemReady = 0;
    pstSession->uiSessionId = 0;
    pstSession->uiRefs = 1;
    pstSession->uiHolds = 0;
    return pstSession;
}

static void RsSessionBlockGive(RS_SESSION *pstSession) {
    auto *pstBlock = reinterpret_cast<RsSessionBlock *>(pstSession);
    RsSessionFreeList &stList = t_stFreeBlocks;
    if (!stList.bReaperArmed) RsSessionFreeListReaperArm(stList);
    if (stList.uiCount >= kFreeBlocksPerThread) {
        (void)pthread_rwlock_destroy(&pstSession->stSem.stLock);
        free(pstBlock);
        return;
    }
    pstBlock->pstNextFree = stList.pstHead;
    stList.pstHead = pstBlock;
    ++stList.uiCount;
}

// The last reference: queued messages go back to the message service, and a
// semaphore its handler left made is destroyed. No other thread can reach
// the session any more, so its lock is not taken.
static void RsSessionFree(RS_SESSION *pstSession) {
    RsListWalk(&pstSession->stSem.stMsgList, [](RS_LIST_NODE *pstNode) {
        auto *pstMsg = RsListRecord<RS_SESSION_MSG>(pstNode);
        if (pstMsg->pMsg != nullptr) (void)DMS_MsgFree(RS_SESSION_MSG_OWNER, pstMsg->pMsg);
        RsListRemove(pstNode);
        free(pstMsg);
    });
    if (pstSession->stSem.bSemReady != 0) (void)ZEP_SemDestroy(&pstSession->stSem.stSem);
    pstSession->stSem.bSemReady = 0;
    RsSessionBlockGive(pstSession);
}

static void RsSessionPut(RS_SESSION *pstSession) {
    if (__atomic_sub_fetch(&pstSession->uiRefs, 1, __ATOMIC_ACQ_REL) == 0) RsSessionFree(pstSession);
}

// The request and response live in the session's block; a session whose
// request has ended no longer names them.
static void RsSessionObjectsFree(RS_SESSION *pstSession) {
    pstSession->pstRequest = nullptr;
    pstSession->pstResponse = nullptr;
}

// Everything but the id is built before the tree lock, which every request
// takes, is held only to number and insert the session. An id still held by
// a live session (after a full wrap) is never inserted twice: the new
// session is released and the request refused.
extern "C" RS_API RS_SESSION *RsSessionMake(RS_WEB_ENV *pstWebEnv, RS_HANDLER_CONTEXT *pstContext, void *pReqHandle,
                                            void *pRspHandle) {
    RS_SESSION *pstSession = RsSessionBlockTake();
    if (pstSession == nullptr) return nullptr;
    pstSession->pstHandlerContext = pstContext;
    *pstSession->pstRequest = RS_REQUEST{pReqHandle, pstSession};
    *pstSession->pstResponse = RS_RESPONSE{pRspHandle, pstSession};
    // Ids wrap at 16 bits: an id still held by a long request (a blocked one,
    // say) is skipped, so the rendezvous never finds the wrong session.
    void *pClash = nullptr;
    (void)pthread_rwlock_wrlock(&pstWebEnv->stLock);
    for (u32 uiTry = 0; uiTry <= 0xFFFFu; ++uiTry) {
        pstSession->uiSessionId = RsSessionIdGen(pstWebEnv);
        pstSession->stSem.uiSessionId = pstSession->uiSessionId;
        pClash =
            VOS_AVL3_Insert_Or_Find(&pstWebEnv->stSessions, &pstSession->stTreeNode, &pstWebEnv->stSessionTreeInfo);
        if (pClash == nullptr) break;
    }
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
