// Writing the trace batch to the trace file.
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "adapter/restserver_trace.h"
#include "core/restserver_log.h"
#include "core/restserver_metrics.h"
#include "core/restserver_problem.h"
#include "core/restserver_string.h"
#include "plat_config.h"
#include "plat_text.h"
#include "restserver_host.h"

#define RS_TRACE_FILE_FMT "../var/log/slot-%d/rest_req_trace_info.log"
#define RS_TRACE_TEXT_LEN 256u
#define RS_TRACE_URL_ROOM 128u
#define RS_TRACE_TEXT_MAX 999
#define RS_FD_PRINTF_LEN 1024u

extern "C" RS_API void RsFdPrintf(int iFd, const char *pcFormat, ...) {
    if (pcFormat == nullptr) return;
    char acLine[RS_FD_PRINTF_LEN];
    va_list args;
    va_start(args, pcFormat);
    int iLen = vsnprintf_s(acLine, sizeof(acLine), sizeof(acLine) - 2, pcFormat, args);
    va_end(args);
    if (iLen <= 0) return;
    (void)!write(iFd, acLine, static_cast<size_t>(iLen));
}

// Formats and writes one record; false when no buffer could be had, which
// ends the batch.
static bool RsTraceRecordWrite(int iFd, const RS_TRACE_RECORD *pstRecord) {
    char acText[RS_TRACE_TEXT_LEN];
    char *pcText = acText;
    size_t ulSize = sizeof(acText);
    size_t ulUrlLen = strlen(pstRecord->pcUrl);
    if (ulUrlLen + RS_TRACE_URL_ROOM > RS_TRACE_TEXT_LEN) {
        ulSize = ulUrlLen + RS_TRACE_URL_ROOM;
        pcText = static_cast<char *>(malloc(ulSize));
        if (pcText == nullptr) return false;
    }
    int iLen =
        snprintf_s(pcText, ulSize, ulSize - 2, "startTick:0x%x 0x%x,url:%s,procMs:%d", pstRecord->uiStartTickHigh,
                   pstRecord->uiStartTickLow, pstRecord->pcUrl, static_cast<int>(pstRecord->uiProcMs));
    if (iLen <= 0) {
        RS_LOG(RS_LOG_ERROR, "Restful trace of %s fail.", pstRecord->pcUrl);
    } else if (iLen <= RS_TRACE_TEXT_MAX) {
        const SYS_TIME_S *pstTime = &pstRecord->stTime;
        RsFdPrintf(iFd, "%04d-%02d-%02d %02d:%02d:%02d %s\n", pstTime->usYear, pstTime->ucMonth, pstTime->ucDay,
                   pstTime->ucHour, pstTime->ucMinute, pstTime->ucSecond, pcText);
        RsMetricAdd(RS_METRIC_TRACE_RECORD, 1);
    }
    if (pcText != acText) free(pcText);
    return true;
}

// Records kept while the file cannot be opened; past this many they are
// dropped, so a trace file that stays unwritable never exhausts memory.
#define RS_TRACE_PENDING_MAX 65536u

extern "C" RS_API void RsTraceListFree(void) {
    RS_TRACE_RECORD *pstRecord = g_restTraceHead.pstFirst;
    while (pstRecord != nullptr) {
        RS_TRACE_RECORD *pstNext = pstRecord->pstNext;
        free(pstRecord);
        pstRecord = pstNext;
    }
}

static void RsTraceListReset(void) {
    g_restTraceHead.pstFirst = nullptr;
    g_restTraceHead.pstLast = nullptr;
    g_restTraceHead.uiCount = 0;
    g_restTraceHead.uiFull = 0;
}

// A file that cannot be opened keeps the records for the next trigger, up to
// a bound; the host hears of it once.
static void RsTraceOpenFailed(int iError) {
    static bool s_bReported = false;
    if (!s_bReported) {
        s_bReported = true;
        RsProblemReport(RS_INST_ID_NONE, "trace file %s cannot be opened: %s", g_acRestTraceFile, strerror(iError));
    }
    if (g_restTraceHead.uiCount < RS_TRACE_PENDING_MAX) return;
    RsProblemReport(RS_INST_ID_NONE, "trace file %s still cannot be opened: %u records dropped", g_acRestTraceFile,
                    g_restTraceHead.uiCount);
    RsTraceListFree();
    RsTraceListReset();
}

// The path is formatted once, from the slot number the platform gives.
static int RsTraceFileOpen(void) {
    if (g_acRestTraceFile[0] == '\0') {
        (void)snprintf_s(g_acRestTraceFile, sizeof(g_acRestTraceFile), sizeof(g_acRestTraceFile) - 1, RS_TRACE_FILE_FMT,
                         static_cast<int>(g_frame_slot_id));
    }
    return open(g_acRestTraceFile, O_RDWR | O_CREAT | O_APPEND, 0640);
}

extern "C" RS_API uint32_t RESTSERVER_TraceFileCheck(char *pcPath, uint32_t uiSize) {
    int iFd = RsTraceFileOpen();
    uint32_t uiError = iFd < 0 ? static_cast<uint32_t>(errno) : 0;
    if (iFd >= 0) (void)close(iFd);
    if (pcPath != nullptr && uiSize != 0) (void)RsStrLCopy(pcPath, g_acRestTraceFile, uiSize);
    return uiError;
}

// Caller holds g_RestTraceMutex.
extern "C" RS_API void RsTraceInfoDumpFile(void) {
    int iFd = RsTraceFileOpen();
    if (iFd < 0) {
        RsTraceOpenFailed(errno);
        return;
    }
    RS_TRACE_RECORD *pstRecord = g_restTraceHead.pstFirst;
    while (pstRecord != nullptr) {
        RS_TRACE_RECORD *pstNext = pstRecord->pstNext;
        if (!RsTraceRecordWrite(iFd, pstRecord)) break;
        free(pstRecord);
        pstRecord = pstNext;
    }
    // Records left after a failed buffer allocation are dropped.
    g_restTraceHead.pstFirst = pstRecord;
    RsTraceListFree();
    RsTraceListReset();
    (void)close(iFd);
}
