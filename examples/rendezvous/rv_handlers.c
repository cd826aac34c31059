/*
 * The handler side of the rendezvous: make the semaphore, hand the job to
 * the worker with the session id, wait, pick the answer, reply, release the
 * message and the semaphore.
 */
#include "rv_handlers.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "plat_msg.h"
#include "restserver_rendezvous.h"
#include "rv_queue.h"

uint32_t RvModuleInit(uint32_t uiArg1, uint32_t uiArg2) {
    (void)uiArg1;
    (void)uiArg2;
    return RvWorkerStart();
}

void RvAnswerFormat(char *pcText, size_t ulSize, const char *pcWord) {
    (void)snprintf(pcText, ulSize, "{\"answer\":\"%s\"}", pcWord);
}

static uint32_t RvFail(RS_RESPONSE *pstResponse) {
    return RESTSERVER_HttpRspDataWrite(pstResponse, "{\"error\":\"no answer\"}", 500);
}

/* The word of the URL, or null when it does not fit a job. */
static const char *RvWordGet(RS_REQUEST *pstRequest) {
    const char *pcWord = RESTSERVER_HttpRequestBraceVarGet(pstRequest, "word");
    if (pcWord == NULL || strlen(pcWord) >= RV_WORD_LEN) return NULL;
    return pcWord;
}

/* Waits for the worker's message and answers with it. */
static uint32_t RvWaitAndAnswer(RS_SESSION_SEM *pstHandle, RS_RESPONSE *pstResponse) {
    void *pMsg = NULL;
    if (RESTSERVER_SemWait(pstHandle) != 0 || RESTSERVER_RspMsgPick(pstHandle, &pMsg) != 0) return RvFail(pstResponse);
    uint32_t uiRet = RESTSERVER_HttpRspDataWrite(pstResponse, (const char *)pMsg, 200);
    (void)DMS_MsgFree(RV_MSG_OWNER, pMsg);
    return uiRet;
}

uint32_t RvWorkerAnswer(RS_REQUEST *pstRequest, RS_RESPONSE *pstResponse) {
    const char *pcWord = RvWordGet(pstRequest);
    if (pcWord == NULL) return RESTSERVER_HttpRspDataWrite(pstResponse, "{\"error\":\"bad word\"}", 400);
    RS_SESSION_SEM *pstHandle = NULL;
    if (RESTSERVER_SemInit(RESTSERVER_SessionIdGet(pstRequest), &pstHandle) != 0) return RvFail(pstResponse);
    RV_JOB *pstJob = (RV_JOB *)calloc(1, sizeof(RV_JOB));
    if (pstJob == NULL) {
        (void)RESTSERVER_SemDestroy(pstHandle);
        return RvFail(pstResponse);
    }
    pstJob->uiSessionId = RESTSERVER_SessionIdGet(pstRequest);
    (void)snprintf(pstJob->acWord, sizeof(pstJob->acWord), "%s", pcWord);
    RvQueuePut(pstJob); /* the id goes to the worker, never the handle */
    uint32_t uiRet = RvWaitAndAnswer(pstHandle, pstResponse);
    (void)RESTSERVER_SemDestroy(pstHandle);
    return uiRet;
}

uint32_t RvDirectAnswer(RS_REQUEST *pstRequest, RS_RESPONSE *pstResponse) {
    const char *pcWord = RvWordGet(pstRequest);
    if (pcWord == NULL) return RESTSERVER_HttpRspDataWrite(pstResponse, "{\"error\":\"bad word\"}", 400);
    char acText[RV_ANSWER_LEN];
    RvAnswerFormat(acText, sizeof(acText), pcWord);
    return RESTSERVER_HttpRspDataWrite(pstResponse, acText, 200);
}
