/*
 * The module's own work queue: the handler puts a job (the session id and
 * the request's word) and the worker thread takes it. Unbounded; a job is
 * freed by whoever takes it.
 */
#ifndef RV_QUEUE_H
#define RV_QUEUE_H

#include <stdint.h>

#define RV_WORD_LEN 64u

typedef struct RV_JOB {
    struct RV_JOB *pstNext;
    uint32_t uiSessionId;
    char acWord[RV_WORD_LEN];
} RV_JOB;

/* Starts the worker thread once per process; 0 or 0xFFFFFFFF. */
uint32_t RvWorkerStart(void);
/* Hands a job to the worker; the queue owns it from here. */
void RvQueuePut(RV_JOB *pstJob);
/* Blocks until a job is queued and takes it out. */
RV_JOB *RvQueueTake(void);

#endif
