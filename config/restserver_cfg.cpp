// The configuration environment of an instance: its creation and release,
// the lookups by instance and session id, and the walks over its lists.
#include <stdlib.h>

#include "config/restserver_cfg.h"
#include "config/restserver_cfg_source.h"
#include "core/restserver_log.h"

#define RS_SESSION_INST_SHIFT 24u

extern "C" RS_API RS_CONF_ENV *RsConfEnvInit(RS_INSTANCE *pstInst, u8 ucInstId) {
    RS_LOG(RS_LOG_INFO, "RsConf(inst:%d) init start.", ucInstId);
    auto *pstEnv = static_cast<RS_CONF_ENV *>(calloc(1, sizeof(RS_CONF_ENV)));
    if (pstEnv == nullptr) return nullptr;
    pstEnv->uiMagic = RS_CONF_MAGIC;
    pstEnv->pstInst = pstInst;
    pstEnv->ucInstId = ucInstId;
    RsListInit(&pstEnv->stDomainList);
    RsListInit(&pstEnv->stModuleList);
    RsListInit(&pstEnv->stAuthList);
    RS_LOG(RS_LOG_INFO, "RsConf(inst:%d) init end.", ucInstId);
    return pstEnv;
}

// Loaded objects stay loaded and the auth entries' TLS records belong to the
// adapter once registered, so only the model's own records are freed.
extern "C" RS_API void RsConfEnvUnInit(RS_CONF_ENV *pstEnv) {
    if (pstEnv == nullptr) return;
    RsListWalk(&pstEnv->stModuleList, [](RS_LIST_NODE *pstNode) {
        RsConfSourceForget(RsListRecord<RS_META_MODULE>(pstNode));
        free(pstNode);
    });
    RsListWalk(&pstEnv->stDomainList, [](RS_LIST_NODE *pstNode) {
        RsListWalk(&RsListRecord<RS_META_DOMAIN>(pstNode)->stHandlerList, [](RS_LIST_NODE *pstHandler) {
            RsConfSourceForget(RsListRecord<RS_META_HANDLER>(pstHandler));
            free(pstHandler);
        });
        free(pstNode);
    });
    RsListWalk(&pstEnv->stAuthList, [](RS_LIST_NODE *pstNode) { free(pstNode); });
    free(pstEnv);
}

extern "C" RS_API RS_CONF_ENV *RsConfInstanceGet(u8 ucInstId) {
    RS_INSTANCE *pstInst = RsRootInstanceGet(ucInstId);
    if (pstInst == nullptr) {
        RS_LOG(RS_LOG_WARN, "RsWebInstanceGet Get instance by id(0x%08x) fail.", ucInstId);
        return nullptr;
    }
    return pstInst->pstConfEnv;
}

// The top byte of a session id is its instance id.
extern "C" RS_API RS_CONF_ENV *RsConfInstanceGetBySessionId(u32 uiSessionId) {
    return RsConfInstanceGet(static_cast<u8>(uiSessionId >> RS_SESSION_INST_SHIFT));
}

extern "C" RS_API RS_META_DOMAIN *RsConfDomainFind(RS_INSTANCE *pstInst) {
    RS_LIST_NODE *pstHead = &pstInst->pstConfEnv->stDomainList;
    if (RsListIsEmpty(pstHead)) return nullptr;
    return RsListRecord<RS_META_DOMAIN>(pstHead->next);
}

extern "C" RS_API void RsConfRootWalkDomain(RS_INSTANCE *pstInst, RS_CONF_WALK_FUNC pfnWalk, void *pArg) {
    RsListWalk(&pstInst->pstConfEnv->stDomainList, [&](RS_LIST_NODE *pstNode) {
        auto *pstDomain = RsListRecord<RS_META_DOMAIN>(pstNode);
        if (pfnWalk(pstDomain, pArg) != RS_OK) {
            RS_LOG(RS_LOG_ERROR, "RsConfRootWalkDomain(%s:%s) error", pstDomain->acHost, pstDomain->acPort);
        }
    });
}

extern "C" RS_API void RsConfRootWalkModule(RS_INSTANCE *pstInst, RS_CONF_WALK_FUNC pfnWalk, void *pArg) {
    RsListWalk(&pstInst->pstConfEnv->stModuleList, [&](RS_LIST_NODE *pstNode) {
        auto *pstModule = RsListRecord<RS_META_MODULE>(pstNode);
        if (pfnWalk(pstModule, pArg) != RS_OK)
            RS_LOG(RS_LOG_ERROR, "RsConfRootWalkModule(%s) error", pstModule->acPath);
    });
}

extern "C" RS_API void RsConfRootWalkAuth(RS_INSTANCE *pstInst, RS_CONF_WALK_FUNC pfnWalk, void *pArg) {
    RsListWalk(&pstInst->pstConfEnv->stAuthList, [&](RS_LIST_NODE *pstNode) { (void)pfnWalk(pstNode, pArg); });
}

extern "C" RS_API void RsConfDomainWalkHandler(RS_META_DOMAIN *pstDomain, RS_CONF_WALK_FUNC pfnWalk, void *pArg) {
    RsListWalk(&pstDomain->stHandlerList, [&](RS_LIST_NODE *pstNode) { (void)pfnWalk(pstNode, pArg); });
}
