/*
 * Sessions: one per request in flight, findable by a 32-bit id whose top
 * byte names the instance, each with the block through which another thread
 * hands the waiting handler its answer message.
 */
#ifndef RESTSERVER_SESSION_H
#define RESTSERVER_SESSION_H

#include <pthread.h>
#include <semaphore.h>

#include "restserver_rendezvous.h"
#include "web/restserver_web.h"

RS_BEGIN_DECLS

/* First argument of DMS_MsgFree for messages queued on a session. */
#define RS_SESSION_MSG_OWNER 0x80D60001u

/*
 * Where another thread hands a response message to the session's waiting
 * handler. The list head comes first, so the block's first two words are
 * the first and last message nodes (the block itself when empty).
 */
struct RS_SESSION_SEM {
    RS_LIST_NODE stMsgList;
    u32 uiSessionId;
    sem_t stSem;             /* made by RESTSERVER_SemInit only */
    pthread_rwlock_t stLock; /* guards stMsgList and bSemReady */
    u8 bSemReady;            /* stSem is made and not yet destroyed */
};

/* A node of the response message list. */
typedef struct {
    RS_LIST_NODE stNode;
    void *pMsg; /* owned by the list while queued */
} RS_RSP_MSG_NODE;
typedef RS_RSP_MSG_NODE RS_SESSION_MSG;

/*
 * One request in flight. It is freed when its request has ended and no
 * answering thread holds it any more: RESTSERVER_SemFind takes a hold,
 * RESTSERVER_SemWake gives it back.
 */
struct RS_SESSION {
    VOS_AVL3_NODE stTreeNode; /* first: the tree's node offset is 0 */
    RS_REQUEST *pstRequest;
    RS_RESPONSE *pstResponse;
    RS_HANDLER_CONTEXT *pstHandlerContext;
    RS_SESSION_SEM stSem;
    u32 uiSessionId;
    u32 uiRefs;  /* the request's own, plus one per hold */
    u32 uiHolds; /* answering threads between find and wake */
};

RS_API u32 RsSessionIdGen(RS_WEB_ENV *pstWebEnv);
RS_API s32 RsSessionIdCompare(const void *pKeyA, const void *pKeyB);
RS_API RS_SESSION *RsSessionMake(RS_WEB_ENV *pstWebEnv, RS_HANDLER_CONTEXT *pstContext, void *pReqHandle,
                                 void *pRspHandle);
RS_API RS_SESSION *RsSessionFind(u32 uiSessionId);
/* As RsSessionFind, and the session stays allocated until RsSessionUnhold. */
RS_API RS_SESSION *RsSessionHold(u32 uiSessionId);
/* Gives back one hold, if any is out; the last reference frees the session. */
RS_API void RsSessionUnhold(RS_SESSION *pstSession);
/* Ends the request's use of the session: out of the tree, its objects freed. */
RS_API void RsSessionDestroy(RS_WEB_ENV *pstWebEnv, RS_SESSION *pstSession);
RS_API RS_SESSION *RsSessionGet(const void *pObject);

RS_END_DECLS

#endif
