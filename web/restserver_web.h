/*
 * Web environment, internal interface: one per instance, made with the
 * instance and torn down with it.
 */
#ifndef RESTSERVER_WEB_H
#define RESTSERVER_WEB_H

#include "core/restserver_core.h"
#include "restserver_handler.h"

RS_BEGIN_DECLS

#define RS_WEB_MAGIC 0xADADADA3u

struct RS_WEB_ENV {
    u32 uiMagic;
    RS_INSTANCE *pstInst;
    u8 ucInstId;
};

RS_API RS_WEB_ENV *RsWebEnvInit(RS_INSTANCE *pstInst, u32 uiInstId);
RS_API void RsWebEnvUnInit(RS_WEB_ENV *pstWebEnv);

struct RS_META_AUTH;

/* What the registration walk hands over, domain by domain. */
RS_API void RsDomainEnable(RS_WEB_ENV *pstWebEnv, const char *pcHost, const char *pcPort);
RS_API u32 RsGroupEnable(RS_WEB_ENV *pstWebEnv, u32 uiGroupCount);
RS_API void RsAuthEnable(RS_WEB_ENV *pstWebEnv, struct RS_META_AUTH *pstAuth);
RS_API void RsHandlerEnable(RS_WEB_ENV *pstWebEnv, u32 uiGroupId, const char *pcUrl, RS_HANDLER_FUNC pfnHandler);

/* Calls received by the enable operations, in order, until the kernel side takes them over. */
typedef enum {
    RS_WEB_ENABLE_DOMAIN,
    RS_WEB_ENABLE_GROUP,
    RS_WEB_ENABLE_AUTH,
    RS_WEB_ENABLE_HANDLER
} RS_WEB_ENABLE_KIND;

typedef struct {
    RS_WEB_ENABLE_KIND enKind;
    RS_WEB_ENV *pstWebEnv;
    const char *pcText;  /* host or URL, as given (not copied) */
    const char *pcPort;  /* port, as given */
    u32 uiValue;         /* group count or group id */
    const void *pObject; /* auth entry or handler function */
} RS_WEB_ENABLE_CALL;

RS_API u32 RsWebEnableCallCount(void);
RS_API const RS_WEB_ENABLE_CALL *RsWebEnableCallGet(u32 uiIndex);

RS_END_DECLS

#endif
