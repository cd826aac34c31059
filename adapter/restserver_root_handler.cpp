// The engine's entry for every registered URL: state check, session,
// auth filter, the URL's handler, session end.
#include "adapter/restserver_kernel.h"
#include "adapter/restserver_trace.h"
#include "auth/restserver_auth_filter.h"
#include "core/restserver_log.h"
#include "core/restserver_tick.h"
#include "plat_kernel.h"
#include "plat_sync.h"
#include "web/restserver_session.h"
#include "web/restserver_web.h"

#define RS_HTTP_INTERNAL_ERROR 500u

// A handler of a C++ module may throw: it is caught here, so its session
// still ends. One that threw or answered nothing gets a 500; the engine
// refuses this answer when the handler gave one.
static void RsRootHandlerCall(RS_HANDLER_CONTEXT *pstContext, RS_SESSION *pstSession, void *pReqHandle) {
    try {
        (void)pstContext->pfnHandler(pstSession->pstRequest, pstSession->pstResponse);
    } catch (...) {
        RS_LOG(RS_LOG_ERROR, "Req(%s) handler threw.", REST_RequestUriGet(pReqHandle));
    }
    static const char acFailed[] = "Internal Server Error";
    if (REST_ResponseSend(pReqHandle, RS_HTTP_INTERNAL_ERROR, acFailed, sizeof(acFailed) - 1) == 0)
        RS_LOG(RS_LOG_ERROR, "Req(%s) handler gave no answer, 500 sent.", REST_RequestUriGet(pReqHandle));
}

// Runs the filter, then the handler or the refusal; the handler's result is ignored.
static void RsRootDispatch(RS_HANDLER_CONTEXT *pstContext, RS_SESSION *pstSession, void *pReqHandle) {
    u32 uiMethod = RESTSERVER_HttpMethodGet(pstSession->pstRequest);
    if (RsAuthFilter(pstSession->pstRequest, pstSession->pstResponse, uiMethod) != 0) {
        RsSetAuthResponseCode(pstSession->pstResponse);
        RS_LOG(RS_LOG_ERROR, "Req(%s) VOG Auth fail.", REST_RequestUriGet(pReqHandle));
        return;
    }
    RsRootHandlerCall(pstContext, pstSession, pReqHandle);
}

// A traced request's start: wall-clock time and CPU tick.
typedef struct {
    SYS_TIME_S stTime;
    VOS_CPU_TICK_S stTick;
} RS_TRACE_START;

// Records the time the filter and the handler took together.
static void RsRootTraceEnd(const RS_TRACE_START *pstStart, const RS_HANDLER_CONTEXT *pstContext) {
    VOS_CPU_TICK_S stEnd = {};
    VOS_CPU_TICK_S stDelta = {};
    u32 uiMsHigh = 0;
    u32 uiMsLow = 0;
    (void)VOS_GetCpuTick(&stEnd.uiLow, &stEnd.uiHigh);
    RsGetDeltaCpuTick(&pstStart->stTick, &stEnd, &stDelta);
    (void)VOS_CpuTick2Ms(&stDelta, &uiMsHigh, &uiMsLow);
    RsTraceRecordNew(&pstStart->stTime, &pstStart->stTick, pstContext->pcUrl, uiMsLow);
}

// The engine uses one handle both to read the request and to answer it.
// The trace switch is read once: its value at arrival decides for the request.
extern "C" RS_API void RsSocfRootHandler(void *pReqHandle, void *pContext, void *pReserved) {
    (void)pReserved;
    auto *pstContext = static_cast<RS_HANDLER_CONTEXT *>(pContext);
    u32 uiTrace = __atomic_load_n(&g_restHandlerTraceEnable, __ATOMIC_RELAXED);
    RS_TRACE_START stStart = {};
    if (uiTrace != 0) {
        (void)VOS_GetCpuTick(&stStart.stTick.uiLow, &stStart.stTick.uiHigh);
        (void)SSP_Local_SystimeGet(&stStart.stTime);
    }
    RS_LOG(RS_LOG_FINE, "Req(%s) processing.", REST_RequestUriGet(pReqHandle));
    if (pstContext == nullptr) {
        RS_LOG(RS_LOG_ERROR, "Req(%s) not found handler context, ignore.", REST_RequestUriGet(pReqHandle));
        return;
    }
    if (RsCheckAbort(pstContext->pstWebEnv) != 0) {
        RS_LOG(RS_LOG_ERROR, "Req(%s) in invalid state, ignore.", REST_RequestUriGet(pReqHandle));
        return;
    }
    RS_SESSION *pstSession = RsSessionMake(pstContext->pstWebEnv, pstContext, pReqHandle, pReqHandle);
    if (pstSession == nullptr) {
        RS_LOG(RS_LOG_ERROR, "Req(%s) build session fail ignore.", REST_RequestUriGet(pReqHandle));
        return;
    }
    RsRootDispatch(pstContext, pstSession, pReqHandle);
    if (uiTrace != 0) RsRootTraceEnd(&stStart, pstContext);
    RsSessionDestroy(pstContext->pstWebEnv, pstSession);
}
