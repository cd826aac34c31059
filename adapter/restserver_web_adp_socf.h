/*
 * HTTP kernel adapter, internal interface: the one place that talks to the
 * HTTP engine. Kernel bring-up and registration, the listen thread and the
 * dead-loop monitor, the root handler, and the request and response objects
 * handed to handlers.
 */
#ifndef RESTSERVER_WEB_ADP_SOCF_H
#define RESTSERVER_WEB_ADP_SOCF_H

#include <pthread.h>

#include "core/restserver_core.h"
#include "plat_os.h"
#include "plat_sync.h"
#include "restserver_handler.h"
#include "web/restserver_web.h"

RS_BEGIN_DECLS

struct RS_META_AUTH;

/*
 * The engine's server handle of one instance, and its listen thread, joined
 * before the server is stopped so the thread never outlives the cell.
 */
struct RS_KERNEL_SERVER {
    void *hServer;
    pthread_t ulListenThread;
    u8 bListenThread;
};

/* TLS settings block given to the engine (128 bytes). */
typedef struct {
    const char *pcSslVersion;
    u64 ulOpaque1; /* passed through from the microservice record */
    char **ppcCaFiles;
    u32 uiCaFileNum;
    u64 ulOpaque2;
    const char *pcCertFile;
    u64 ulOpaque3;
    const char *pcKeyFile;
    const char *pcKeyPassword;
    u64 ulZero1;
    u64 ulZero2;
    u32 uiZero3;
    char **ppcCiphers;
    u32 uiCipherNum;
    u8 aucReserved[20];
} RS_SSL_PARAM;

/* Listening endpoint; the address text is the configuration's, not copied. */
typedef struct {
    u32 uiAddrKind; /* 1 when the address holds ':' */
    u16 usPort;
    u8 aucPad[2];
    const char *pcAddress;
} RS_END_POINT;

/* Lock of the certificate and token loading; its holder may take it again. */
RS_API extern VOS_MUTEX_ID g_AuthMutex;

/* Bring-up and registration. */
RS_API RS_KERNEL_SERVER *RsKernelInit(void);
RS_API void RsKernelUnInit(RS_KERNEL_SERVER *pstServer);
RS_API u32 RsServerDeadLoopInit(void);
RS_API void RsServerDeadLoopCallBack(void);
RS_API u32 RsSslInit(void);
RS_API void RsKernelAuthEnable(RS_KERNEL_SERVER *pstServer, struct RS_META_AUTH *pstAuth);
/* Address kind and 16-bit port of a configured domain; the address is not copied. */
RS_API void RsEndPointFill(RS_END_POINT *pstEndPoint, const char *pcAddress, const char *pcPort);
RS_API void RsKernelDomainBind(RS_KERNEL_SERVER *pstServer, const char *pcAddress, const char *pcPort);
RS_API u32 RsKernelGroupEnable(RS_KERNEL_SERVER *pstServer, u32 uiGroupCount);
RS_API void RsKernelHandlerReg(RS_KERNEL_SERVER *pstServer, RS_HANDLER_CONTEXT *pstContext);
RS_API u32 RsKernelForkListenThread(RS_KERNEL_SERVER *pstServer);
RS_API void *RsSocfListenProcess(void *pServer);

/* The engine's entry for every registered URL. */
RS_API void RsSocfRootHandler(void *pReqHandle, void *pContext, void *pReserved);

/* Request and response objects of a session. */
RS_API RS_REQUEST *RsRequestBuild(RS_SESSION *pstSession, void *pHandle);
RS_API RS_RESPONSE *RsResponseBuild(RS_SESSION *pstSession, void *pHandle);
RS_API void RsRequestFree(RS_REQUEST **ppstRequest);
RS_API void RsResponseFree(RS_RESPONSE **ppstResponse);

/* Request reads. */
RS_API u32 RsHttpMethodGet(RS_REQUEST *pstRequest);
RS_API const char *RsHttpFullPathGet(RS_REQUEST *pstRequest);
RS_API const char *RsHttpReqHeadValGet(RS_REQUEST *pstRequest, const char *pcName);
RS_API u32 RsHttpReqHeadItemsGet(RS_REQUEST *pstRequest, const RS_HEAD_ITEM **ppstItems, u32 *puiCount);
RS_API u32 RsHttpReqHeadItemCountGet(RS_REQUEST *pstRequest);
RS_API const char *RsHttpQueryGet(RS_REQUEST *pstRequest, const char *pcName);
RS_API const char *RsHttpRequestBraceVarGet(RS_REQUEST *pstRequest, const char *pcName);
RS_API const char *RsRequestDataRead(RS_REQUEST *pstRequest);
RS_API char *RsRequestDataReadEx(RS_REQUEST *pstRequest);
RS_API const char *RsRequestBinDataRead(RS_REQUEST *pstRequest, u32 *puiLen);

/* Response writes: 0, or 0xFFFFFFFF with a log line. */
RS_API u32 RsHttpRspHeadItemAdd(RS_RESPONSE *pstResponse, const char *pcName, const char *pcValue);
RS_API u32 RsResponseDataWrite(RS_RESPONSE *pstResponse, const char *pcData, u32 uiStatus);
RS_API u32 RsResponseStreamOpen(RS_RESPONSE *pstResponse, u32 uiStatus);
RS_API u32 RsResponseStreamWrite(RS_RESPONSE *pstResponse, const char *pcText);
RS_API u32 RsResponseStreamClose(RS_RESPONSE *pstResponse);
RS_API u32 RsResponseDataPrintf(RS_RESPONSE *pstResponse, const char *pcFormat, ...);
RS_API void RsResponseCheckAndAsyncFlush(RS_RESPONSE *pstResponse);

/* Request trace log: records collect in memory and go to the trace file in batches. */
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
RS_API void RsFdPrintf(int iFd, const char *pcFormat, ...) __attribute__((format(printf, 2, 3)));
/* End minus start as 64-bit numbers of (high, low) words. */
RS_API void RsGetDeltaCpuTick(const VOS_CPU_TICK_S *pstStart, const VOS_CPU_TICK_S *pstEnd, VOS_CPU_TICK_S *pstDelta);

RS_END_DECLS

#endif
