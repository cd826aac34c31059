// Request trace log: one record per traced request, kept in memory and
// appended to the trace file a batch at a time.
#include <stdlib.h>
#include <string.h>

#include "adapter/restserver_trace.h"
#include "core/restserver_log.h"

extern "C" {
RS_API u32 g_restHandlerTraceEnable = 0;
RS_API VOS_MUTEX_ID g_RestTraceMutex = 0;
RS_API RS_TRACE_HEAD g_restTraceHead = {};
RS_API char g_acRestTraceFile[RS_TRACE_PATH_LEN] = {};
}

// Request threads read the switch while the host writes it.
static void RsTraceSwitchSet(u32 uiEnable) {
    __atomic_store_n(&g_restHandlerTraceEnable, uiEnable, __ATOMIC_RELAXED);
}

// Pending records are dropped unwritten.
extern "C" RS_API void RsTraceInfoInit(u32 uiMax) {
    RsTraceListFree();
    g_restTraceHead = RS_TRACE_HEAD{};
    g_restTraceHead.uiMax = uiMax;
    if (g_RestTraceMutex != 0) {
        RsTraceSwitchSet(1);
        return;
    }
    (void)VOS_MutexInit(&g_RestTraceMutex, 0);
    RsTraceSwitchSet(g_RestTraceMutex != 0 ? 1 : 0);
}

// Switching on flushes what is pending; switching off keeps it for later.
extern "C" RS_API void RsTraceParaSet(u32 uiMax, u32 uiEnable) {
    if (g_RestTraceMutex == 0) RsTraceInfoInit(uiMax);
    if (g_RestTraceMutex == 0) return;
    (void)VOS_MutexLock(g_RestTraceMutex);
    g_restTraceHead.uiMax = uiMax;
    (void)VOS_MutexUnlock(g_RestTraceMutex);
    RsTraceSwitchSet(uiEnable);
    if (uiEnable != 0) RsTraceFlush();
}

extern "C" RS_API void RsTraceFlush(void) {
    if (g_RestTraceMutex == 0) return;
    (void)VOS_MutexLock(g_RestTraceMutex);
    if (g_restTraceHead.uiCount != 0) RsTraceInfoDumpFile();
    (void)VOS_MutexUnlock(g_RestTraceMutex);
}

// The thread whose record fills the batch writes the batch.
extern "C" RS_API void RsTraceRecordNew(const SYS_TIME_S *pstTime, const VOS_CPU_TICK_S *pstStartTick,
                                        const char *pcUrl, u32 uiProcMs) {
    auto *pstRecord = static_cast<RS_TRACE_RECORD *>(calloc(1, sizeof(RS_TRACE_RECORD)));
    if (pstRecord == nullptr) {
        RS_LOG(RS_LOG_ERROR, "Alloc restful trace head info fail.");
        return;
    }
    memcpy(&pstRecord->stTime, pstTime, sizeof(pstRecord->stTime));
    pstRecord->uiStartTickLow = pstStartTick->uiLow;
    pstRecord->uiStartTickHigh = pstStartTick->uiHigh;
    pstRecord->pcUrl = pcUrl;
    pstRecord->uiProcMs = uiProcMs;
    (void)VOS_MutexLock(g_RestTraceMutex);
    if (g_restTraceHead.pstFirst == nullptr) {
        g_restTraceHead.pstFirst = pstRecord;
    } else {
        g_restTraceHead.pstLast->pstNext = pstRecord;
    }
    g_restTraceHead.pstLast = pstRecord;
    g_restTraceHead.uiCount++;
    if (g_restTraceHead.uiCount >= g_restTraceHead.uiMax) {
        g_restTraceHead.uiFull = 1;
        RsTraceInfoDumpFile();
    }
    (void)VOS_MutexUnlock(g_RestTraceMutex);
}
