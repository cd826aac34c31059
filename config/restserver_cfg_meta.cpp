// The records of the configuration model: constructors and field accessors.
// Text fields are cut at their limits by RsStrNCpy; records start zero-filled.
#include <stdlib.h>

#include "config/restserver_cfg.h"
#include "core/restserver_string.h"

template <typename Record>
static Record *RsConfRecordAlloc() {
    auto *pstRecord = static_cast<Record *>(calloc(1, sizeof(Record)));
    if (pstRecord != nullptr) RsListInit(&pstRecord->stNode);
    return pstRecord;
}

extern "C" RS_API RS_META_DOMAIN *RsConfDomainCreate(RS_INSTANCE *pstInst, const char *pcHost, const char *pcPort) {
    auto *pstDomain = RsConfRecordAlloc<RS_META_DOMAIN>();
    if (pstDomain == nullptr) return nullptr;
    (void)RsStrNCpy(pstDomain->acHost, pcHost, RS_HOST_MAX_LEN);
    (void)RsStrNCpy(pstDomain->acPort, pcPort, RS_PORT_MAX_LEN);
    pstDomain->uiMaxGroupId = RS_GROUP_NONE;
    RsListInit(&pstDomain->stHandlerList);
    RsListAppend(&pstInst->pstConfEnv->stDomainList, &pstDomain->stNode);
    return pstDomain;
}

extern "C" RS_API RS_META_MODULE *RsConfModuleCreate(RS_INSTANCE *pstInst, const char *pcPath, const char *pcInitName) {
    auto *pstModule = RsConfRecordAlloc<RS_META_MODULE>();
    if (pstModule == nullptr) return nullptr;
    (void)RsStrNCpy(pstModule->acPath, pcPath, RS_PATH_MAX_LEN);
    (void)RsStrNCpy(pstModule->acInitName, pcInitName, RS_NAME_MAX_LEN);
    RsListAppend(&pstInst->pstConfEnv->stModuleList, &pstModule->stNode);
    return pstModule;
}

// A handler joins its domain's list only through RsConfDomainAddHandler.
extern "C" RS_API RS_META_HANDLER *RsConfHandlerCreate(RS_INSTANCE *pstInst, u32 uiGroupId, const char *pcUrl,
                                                       const char *pcHandlerName) {
    (void)pstInst;
    auto *pstHandler = RsConfRecordAlloc<RS_META_HANDLER>();
    if (pstHandler == nullptr) return nullptr;
    (void)RsStrNCpy(pstHandler->acUrl, pcUrl, RS_URL_MAX_LEN);
    (void)RsStrNCpy(pstHandler->acHandlerName, pcHandlerName, RS_NAME_MAX_LEN);
    pstHandler->uiGroupId = uiGroupId;
    return pstHandler;
}

extern "C" RS_API RS_META_AUTH *RsConfAuthCreate(RS_INSTANCE *pstInst, MicroserviceRestCfg *pstMsRestCfg) {
    auto *pstAuth = RsConfRecordAlloc<RS_META_AUTH>();
    if (pstAuth == nullptr) return nullptr;
    pstAuth->pstMsRestCfg = pstMsRestCfg;
    RsListAppend(&pstInst->pstConfEnv->stAuthList, &pstAuth->stNode);
    return pstAuth;
}

extern "C" RS_API void RsConfDomainAddHandler(RS_META_DOMAIN *pstDomain, RS_META_HANDLER *pstHandler) {
    RsListAppend(&pstDomain->stHandlerList, &pstHandler->stNode);
}

extern "C" RS_API void RsConfDomainSetAuth(RS_META_DOMAIN *pstDomain, RS_META_AUTH *pstAuth) {
    pstDomain->pstAuth = pstAuth;
}

extern "C" RS_API RS_META_AUTH *RsConfDomainGetAuth(RS_META_DOMAIN *pstDomain) {
    return pstDomain->pstAuth;
}

extern "C" RS_API void RsConfDomainSetMaxGroupId(RS_META_DOMAIN *pstDomain, u32 uiGroupId) {
    pstDomain->uiMaxGroupId = uiGroupId;
}

extern "C" RS_API u32 RsConfDomainGetMaxGroupId(RS_META_DOMAIN *pstDomain) {
    return pstDomain->uiMaxGroupId;
}

extern "C" RS_API void RsConfHandlerSetModule(RS_META_HANDLER *pstHandler, RS_META_MODULE *pstModule) {
    if (pstHandler == nullptr) return;
    pstHandler->pstModule = pstModule;
}

extern "C" RS_API RS_META_MODULE *RsConfHandlerGetModule(RS_META_HANDLER *pstHandler) {
    return pstHandler == nullptr ? nullptr : pstHandler->pstModule;
}

extern "C" RS_API void RsConfHandlerSetHandler(RS_META_HANDLER *pstHandler, RS_HANDLER_FUNC pfnHandler) {
    if (pstHandler == nullptr) return;
    pstHandler->pfnHandler = pfnHandler;
}

extern "C" RS_API RS_HANDLER_FUNC RsConfHandlerGetHandler(RS_META_HANDLER *pstHandler) {
    return pstHandler->pfnHandler;
}

extern "C" RS_API const char *RsConfHandlerGetHandlerName(RS_META_HANDLER *pstHandler) {
    return pstHandler->acHandlerName;
}

extern "C" RS_API const char *RsConfHandlerGetUrl(RS_META_HANDLER *pstHandler) {
    return pstHandler->acUrl;
}

extern "C" RS_API u32 RsConfHandlerGetGroupId(RS_META_HANDLER *pstHandler) {
    return pstHandler->uiGroupId;
}
