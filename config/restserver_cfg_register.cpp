// The register phase: each domain is bound, its handler groups declared,
// TLS enabled from its auth entry, and its handlers registered in file
// order, all through the instance's web environment.
#include "config/restserver_cfg_register.h"
#include "config/restserver_cfg_loader.h"
#include "config/restserver_cfg_parser.h"
#include "core/restserver_log.h"
#include "web/restserver_web.h"

extern "C" RS_API u32 RsConfRegister(RS_INSTANCE *pstInst) {
    RsStateSet(pstInst, RS_STATE_REGISTERING);
    RsConfRootWalkDomain(
        pstInst,
        [](void *pRecord, void *pArg) {
            return RsConfDomainRegister(static_cast<RS_META_DOMAIN *>(pRecord), static_cast<RS_INSTANCE *>(pArg));
        },
        pstInst);
    return RS_OK;
}

extern "C" RS_API u32 RsConfDomainRegister(RS_META_DOMAIN *pstDomain, RS_INSTANCE *pstInst) {
    RS_LOG(RS_LOG_INFO, "RsConfDomainRegister: %s:%s.", pstDomain->acHost, pstDomain->acPort);
    RsDomainEnable(pstInst->pstWebEnv, pstDomain->acHost, pstDomain->acPort);
    (void)RsConfGroupRegister(RsConfDomainGetMaxGroupId(pstDomain), pstInst);
    (void)RsConfAuthRegister(RsConfDomainGetAuth(pstDomain), pstInst);
    RsConfDomainWalkHandler(
        pstDomain,
        [](void *pRecord, void *pArg) {
            return RsConfHandlerRegister(static_cast<RS_META_HANDLER *>(pRecord), static_cast<RS_INSTANCE *>(pArg));
        },
        pstInst);
    return RS_OK;
}

// Group ids run from 0 to the highest, so the count is one more.
extern "C" RS_API u32 RsConfGroupRegister(u32 uiMaxGroupId, RS_INSTANCE *pstInst) {
    if (uiMaxGroupId == RS_GROUP_NONE) return RS_OK;
    (void)RsGroupEnable(pstInst->pstWebEnv, uiMaxGroupId + 1);
    return RS_OK;
}

extern "C" RS_API u32 RsConfAuthRegister(RS_META_AUTH *pstAuth, RS_INSTANCE *pstInst) {
    RsAuthEnable(pstInst->pstWebEnv, pstAuth);
    return RS_OK;
}

// Handlers whose function could not be resolved are registered too; the
// web side refuses them with its own message.
extern "C" RS_API u32 RsConfHandlerRegister(RS_META_HANDLER *pstHandler, RS_INSTANCE *pstInst) {
    const char *pcUrl = RsConfHandlerGetUrl(pstHandler);
    const char *pcName = RsConfHandlerGetHandlerName(pstHandler);
    RS_HANDLER_FUNC pfnHandler = RsConfHandlerGetHandler(pstHandler);
    u32 uiGroupId = RsConfHandlerGetGroupId(pstHandler);
    RS_LOG(RS_LOG_INFO, "RsConfHandlerRegister: %s(%p) [%d].", pcName, reinterpret_cast<void *>(pfnHandler),
           static_cast<int>(uiGroupId));
    RsHandlerEnable(pstInst->pstWebEnv, uiGroupId, pcUrl, pfnHandler);
    return RS_OK;
}

extern "C" RS_API void RsConfServerConfigInject(RS_INSTANCE *pstInst) {
    if (RsConfParser(pstInst) != RS_OK) {
        RS_LOG(RS_LOG_ERROR, "RsConfParser failed.");
        return;
    }
    if (RsConfLoad(pstInst) != RS_OK) {
        RS_LOG(RS_LOG_ERROR, "RsConfLoad failed.");
        return;
    }
    if (RsConfRegister(pstInst) != RS_OK) RS_LOG(RS_LOG_ERROR, "RsConfRegister failed.");
}
