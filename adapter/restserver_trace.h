/*
 * Request trace log: one record per traced request, collected in memory and
 * appended to the trace file a batch at a time. The host switches it with
 * RsTraceParaSet; the root handler adds the records.
 */
#ifndef RESTSERVER_TRACE_H
#define RESTSERVER_TRACE_H

#include "plat_os.h"
#include "plat_sync.h"
#include "restserver_export.h"

RS_BEGIN_DECLS

#define RS_TRACE_PATH_LEN 128u

typedef struct RS_TRACE_RECORD {
    SYS_TIME_S stTime; /* local time at the request's start */
    u32 uiStartTickLow;
    u32 uiStartTickHigh;
    const char *pcUrl; /* the handler context's URL, not copied */
    u32 uiProcMs;
    struct RS_TRACE_RECORD *pstNext;
} RS_TRACE_RECORD;

typedef struct {
    RS_TRACE_RECORD *pstFirst;
    RS_TRACE_RECORD *pstLast;
    u32 uiCount; /* records pending */
    u32 uiMax;   /* batch size */
    u32 uiFull;  /* 1 from the batch's last record until its dump completes */
} RS_TRACE_HEAD;

RS_API extern u32 g_restHandlerTraceEnable;  /* read once per request, without the lock */
RS_API extern VOS_MUTEX_ID g_RestTraceMutex; /* guards the list and the file writing */
RS_API extern RS_TRACE_HEAD g_restTraceHead;
RS_API extern char g_acRestTraceFile[RS_TRACE_PATH_LEN];

/* The host's switch: batch size and on/off; switching on flushes pending records. */
RS_API void RsTraceParaSet(u32 uiMax, u32 uiEnable);
RS_API void RsTraceInfoInit(u32 uiMax);
RS_API void RsTraceRecordNew(const SYS_TIME_S *pstTime, const VOS_CPU_TICK_S *pstStartTick, const char *pcUrl,
                             u32 uiProcMs);
/* Caller holds g_RestTraceMutex. */
RS_API void RsTraceInfoDumpFile(void);
/* Writes the pending records, a batch full or not: before the URLs they name go away. */
RS_API void RsTraceFlush(void);
/* Releases the pending records unwritten; the list is left to be reset by the caller. */
RS_API void RsTraceListFree(void);
RS_API void RsFdPrintf(int iFd, const char *pcFormat, ...) __attribute__((format(printf, 2, 3)));

RS_END_DECLS

#endif
