/*
 * The answering side: a thread of the module that takes jobs from the queue,
 * builds the answer in a platform message and hands it to the waiting
 * handler. It follows the rendezvous protocol exactly: find, set, wake, and
 * never touches the handle after the wake, since the handler may return and
 * its session disappear at once.
 */
#include <pthread.h>
#include <stdlib.h>

#include "plat_msg.h"
#include "restserver_rendezvous.h"
#include "rv_handlers.h"
#include "rv_queue.h"

/*
 * Answers one job. Without a message the handler is still woken: its pick
 * then fails and it answers 500 instead of waiting for good.
 */
static void RvAnswer(const RV_JOB *pstJob) {
    void *pMsg = DMS_MsgAlloc(RV_MSG_OWNER, RV_ANSWER_LEN);
    if (pMsg != NULL) RvAnswerFormat((char *)pMsg, RV_ANSWER_LEN, pstJob->acWord);
    RS_SESSION_SEM *pstHandle = NULL;
    if (RESTSERVER_SemFind(pstJob->uiSessionId, &pstHandle) != 0) {
        if (pMsg != NULL) (void)DMS_MsgFree(RV_MSG_OWNER, pMsg); /* the request has ended */
        return;
    }
    if (pMsg != NULL && RESTSERVER_RspMsgSet(pstHandle, pMsg) != 0) (void)DMS_MsgFree(RV_MSG_OWNER, pMsg);
    (void)RESTSERVER_SemWake(pstHandle); /* last use of the handle */
}

static void *RvWorkerMain(void *pArg) {
    (void)pArg;
    for (;;) {
        RV_JOB *pstJob = RvQueueTake();
        RvAnswer(pstJob);
        free(pstJob);
    }
    return NULL;
}

static pthread_once_t g_stRvWorkerOnce = PTHREAD_ONCE_INIT;
static uint32_t g_uiRvWorkerRet = 0xFFFFFFFFu;

static void RvWorkerCreate(void) {
    pthread_t ulThread;
    if (pthread_create(&ulThread, NULL, RvWorkerMain, NULL) != 0) return;
    (void)pthread_detach(ulThread);
    g_uiRvWorkerRet = 0;
}

uint32_t RvWorkerStart(void) {
    (void)pthread_once(&g_stRvWorkerOnce, RvWorkerCreate);
    return g_uiRvWorkerRet;
}
