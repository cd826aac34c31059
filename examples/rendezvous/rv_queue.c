/* A mutex and condition variable over a singly linked first-in first-out list. */
#include "rv_queue.h"

#include <pthread.h>
#include <stddef.h>

static pthread_mutex_t g_stRvQueueLock = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t g_stRvQueueCond = PTHREAD_COND_INITIALIZER;
static RV_JOB *g_pstRvFirst = NULL;
static RV_JOB *g_pstRvLast = NULL;

void RvQueuePut(RV_JOB *pstJob) {
    pstJob->pstNext = NULL;
    pthread_mutex_lock(&g_stRvQueueLock);
    if (g_pstRvLast == NULL) {
        g_pstRvFirst = pstJob;
    } else {
        g_pstRvLast->pstNext = pstJob;
    }
    g_pstRvLast = pstJob;
    pthread_cond_signal(&g_stRvQueueCond);
    pthread_mutex_unlock(&g_stRvQueueLock);
}

RV_JOB *RvQueueTake(void) {
    pthread_mutex_lock(&g_stRvQueueLock);
    while (g_pstRvFirst == NULL)
        pthread_cond_wait(&g_stRvQueueCond, &g_stRvQueueLock);
    RV_JOB *pstJob = g_pstRvFirst;
    g_pstRvFirst = pstJob->pstNext;
    if (g_pstRvFirst == NULL) g_pstRvLast = NULL;
    pthread_mutex_unlock(&g_stRvQueueLock);
    return pstJob;
}
