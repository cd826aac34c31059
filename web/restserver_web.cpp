// The instance's web environment. It holds only the owner for now; the
// kernel server, the session tree and the handler contexts join it later.
#include <stdlib.h>

#include "config/restserver_cfg.h"
#include "web/restserver_web.h"

extern "C" RS_API RS_WEB_ENV *RsWebEnvInit(RS_INSTANCE *pstInst, u32 uiInstId) {
    auto *pstWebEnv = static_cast<RS_WEB_ENV *>(calloc(1, sizeof(RS_WEB_ENV)));
    if (pstWebEnv == nullptr) return nullptr;
    pstWebEnv->uiMagic = RS_WEB_MAGIC;
    pstWebEnv->pstInst = pstInst;
    pstWebEnv->ucInstId = static_cast<u8>(uiInstId);
    return pstWebEnv;
}

extern "C" RS_API void RsWebEnvUnInit(RS_WEB_ENV *pstWebEnv) {
    free(pstWebEnv);
}

// The enable operations record what they receive; the kernel registrations
// take their place with the HTTP kernel adapter. The TLS record handed over
// with the auth entry is the web side's to release.
#define RS_WEB_ENABLE_CALL_MAX 256u

static RS_WEB_ENABLE_CALL g_astWebEnableCalls[RS_WEB_ENABLE_CALL_MAX];
static u32 g_uiWebEnableCallCount = 0;

static void RsWebEnableRecord(const RS_WEB_ENABLE_CALL &stCall) {
    if (g_uiWebEnableCallCount >= RS_WEB_ENABLE_CALL_MAX) return;
    g_astWebEnableCalls[g_uiWebEnableCallCount++] = stCall;
}

extern "C" RS_API void RsDomainEnable(RS_WEB_ENV *pstWebEnv, const char *pcHost, const char *pcPort) {
    RsWebEnableRecord({RS_WEB_ENABLE_DOMAIN, pstWebEnv, pcHost, pcPort, 0, nullptr});
}

extern "C" RS_API u32 RsGroupEnable(RS_WEB_ENV *pstWebEnv, u32 uiGroupCount) {
    RsWebEnableRecord({RS_WEB_ENABLE_GROUP, pstWebEnv, nullptr, nullptr, uiGroupCount, nullptr});
    return 0;
}

extern "C" RS_API void RsAuthEnable(RS_WEB_ENV *pstWebEnv, RS_META_AUTH *pstAuth) {
    RsWebEnableRecord({RS_WEB_ENABLE_AUTH, pstWebEnv, nullptr, nullptr, 0, pstAuth});
    if (pstAuth != nullptr) Haf_FreeMicroserviceRestCfg(&pstAuth->pstMsRestCfg);
}

extern "C" RS_API void RsHandlerEnable(RS_WEB_ENV *pstWebEnv, u32 uiGroupId, const char *pcUrl,
                                       RS_HANDLER_FUNC pfnHandler) {
    RsWebEnableRecord(
        {RS_WEB_ENABLE_HANDLER, pstWebEnv, pcUrl, nullptr, uiGroupId, reinterpret_cast<const void *>(pfnHandler)});
}

extern "C" RS_API u32 RsWebEnableCallCount(void) {
    return g_uiWebEnableCallCount;
}

extern "C" RS_API const RS_WEB_ENABLE_CALL *RsWebEnableCallGet(u32 uiIndex) {
    return uiIndex < g_uiWebEnableCallCount ? &g_astWebEnableCalls[uiIndex] : nullptr;
}
