/*
 * Configuration model: the per-instance records (domains, modules, handlers,
 * auth entries) kept in intrusive lists in file order, their constructors,
 * accessors, walks and lookups.
 */
#ifndef RESTSERVER_CFG_H
#define RESTSERVER_CFG_H

#include "core/restserver_core.h"
#include "core/restserver_list.h"
#include "plat_config.h"
#include "restserver_handler.h"

RS_BEGIN_DECLS

#define RS_CONF_MAGIC 0xADADADA2u

#define RS_HOST_MAX_LEN 63u
#define RS_PORT_MAX_LEN 5u
#define RS_PATH_MAX_LEN 255u
#define RS_NAME_MAX_LEN 63u
#define RS_URL_MAX_LEN 255u

typedef struct RS_META_AUTH {
    RS_LIST_NODE stNode;
    MicroserviceRestCfg *pstMsRestCfg;
} RS_META_AUTH;

typedef struct RS_META_DOMAIN {
    RS_LIST_NODE stNode;
    char acHost[RS_HOST_MAX_LEN + 1];
    char acPort[RS_PORT_MAX_LEN + 1];
    u32 uiMaxGroupId;
    RS_META_AUTH *pstAuth;
    RS_LIST_NODE stHandlerList;
} RS_META_DOMAIN;

typedef u32 (*RS_MODULE_INIT_FUNC)(u32 uiArg1, u32 uiArg2);

typedef struct RS_META_MODULE {
    RS_LIST_NODE stNode;
    void *pHandle;
    RS_MODULE_INIT_FUNC pfnInit;
    char acInitName[RS_NAME_MAX_LEN + 1];
    char acPath[RS_PATH_MAX_LEN + 1];
} RS_META_MODULE;

typedef struct RS_META_HANDLER {
    RS_LIST_NODE stNode;
    RS_META_MODULE *pstModule;
    RS_HANDLER_FUNC pfnHandler;
    char acUrl[RS_URL_MAX_LEN + 1];
    char acHandlerName[RS_NAME_MAX_LEN + 1];
    u32 uiGroupId;
} RS_META_HANDLER;

struct RS_CONF_ENV {
    u32 uiMagic;
    RS_INSTANCE *pstInst;
    RS_LIST_NODE stDomainList;
    RS_LIST_NODE stModuleList;
    RS_LIST_NODE stAuthList;
    u8 ucInstId;
};

/* Called with the record and the walk's argument; 0 for success. */
typedef u32 (*RS_CONF_WALK_FUNC)(void *pRecord, void *pArg);

/* Environment and lookups. */
RS_API RS_CONF_ENV *RsConfEnvInit(RS_INSTANCE *pstInst, u8 ucInstId);
RS_API void RsConfEnvUnInit(RS_CONF_ENV *pstEnv);
RS_API RS_CONF_ENV *RsConfInstanceGet(u8 ucInstId);
RS_API RS_CONF_ENV *RsConfInstanceGetBySessionId(u32 uiSessionId);
RS_API RS_META_DOMAIN *RsConfDomainFind(RS_INSTANCE *pstInst);
/* Always null: the environment is searched by walking it. */
RS_API RS_META_MODULE *RsConfModuleFind(void);
RS_API RS_META_AUTH *RsConfAuthFind(void);

/* Record constructors: zero-filled records, null when allocation fails. */
RS_API RS_META_DOMAIN *RsConfDomainCreate(RS_INSTANCE *pstInst, const char *pcHost, const char *pcPort);
RS_API RS_META_MODULE *RsConfModuleCreate(RS_INSTANCE *pstInst, const char *pcPath, const char *pcInitName);
RS_API RS_META_HANDLER *RsConfHandlerCreate(RS_INSTANCE *pstInst, u32 uiGroupId, const char *pcUrl,
                                            const char *pcHandlerName);
RS_API RS_META_AUTH *RsConfAuthCreate(RS_INSTANCE *pstInst, MicroserviceRestCfg *pstMsRestCfg);

/* Accessors. */
RS_API void RsConfDomainAddHandler(RS_META_DOMAIN *pstDomain, RS_META_HANDLER *pstHandler);
RS_API void RsConfDomainSetAuth(RS_META_DOMAIN *pstDomain, RS_META_AUTH *pstAuth);
RS_API RS_META_AUTH *RsConfDomainGetAuth(RS_META_DOMAIN *pstDomain);
RS_API void RsConfDomainSetMaxGroupId(RS_META_DOMAIN *pstDomain, u32 uiGroupId);
RS_API u32 RsConfDomainGetMaxGroupId(RS_META_DOMAIN *pstDomain);
RS_API void RsConfHandlerSetModule(RS_META_HANDLER *pstHandler, RS_META_MODULE *pstModule);
RS_API RS_META_MODULE *RsConfHandlerGetModule(RS_META_HANDLER *pstHandler);
RS_API void RsConfHandlerSetHandler(RS_META_HANDLER *pstHandler, RS_HANDLER_FUNC pfnHandler);
RS_API RS_HANDLER_FUNC RsConfHandlerGetHandler(RS_META_HANDLER *pstHandler);
RS_API const char *RsConfHandlerGetHandlerName(RS_META_HANDLER *pstHandler);
RS_API const char *RsConfHandlerGetUrl(RS_META_HANDLER *pstHandler);
RS_API u32 RsConfHandlerGetGroupId(RS_META_HANDLER *pstHandler);

/* Walks, in insertion order. */
RS_API void RsConfRootWalkDomain(RS_INSTANCE *pstInst, RS_CONF_WALK_FUNC pfnWalk, void *pArg);
RS_API void RsConfRootWalkModule(RS_INSTANCE *pstInst, RS_CONF_WALK_FUNC pfnWalk, void *pArg);
RS_API void RsConfRootWalkAuth(RS_INSTANCE *pstInst, RS_CONF_WALK_FUNC pfnWalk, void *pArg);
RS_API void RsConfDomainWalkHandler(RS_META_DOMAIN *pstDomain, RS_CONF_WALK_FUNC pfnWalk, void *pArg);

RS_END_DECLS

#endif
