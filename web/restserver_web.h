/*
 * Web environment, internal interface: one per instance, made with the
 * instance and torn down with it. It ties the instance to its kernel server,
 * keeps the live sessions in a tree keyed by session id and gives every
 * registered URL a handler context.
 */
#ifndef RESTSERVER_WEB_H
#define RESTSERVER_WEB_H

#include <pthread.h>

#include "adapter/restserver_web_adp_socf.h"
#include "core/restserver_core.h"
#include "core/restserver_list.h"
#include "plat_os.h"
#include "restserver_handler.h"

RS_BEGIN_DECLS

#define RS_WEB_MAGIC 0xADADADA3u

struct RS_WEB_ENV {
    u32 uiMagic;
    RS_INSTANCE *pstInst;
    RS_KERNEL_SERVER *pstKernel; /* null when the kernel bring-up failed */
    pthread_rwlock_t stLock;     /* guards usSessionSeq and stSessions */
    u16 usSessionSeq;
    u8 ucInstId;
    VOS_AVL3_TREE stSessions;
    VOS_AVL3_TREE_INFO stSessionTreeInfo;
    RS_LIST_NODE stContextList; /* handler contexts, released at teardown */
};

/* One per registered URL; the kernel hands it back with every request of that URL. */
typedef struct RS_HANDLER_CONTEXT {
    const char *pcUrl; /* a copy of the configuration's text, owned by the context */
    u32 uiGroupId;
    RS_WEB_ENV *pstWebEnv;
    RS_HANDLER_FUNC pfnHandler;
    void *pCallback;     /* the handler's own; never read by the system */
    RS_LIST_NODE stNode; /* in the environment's list, released at teardown */
} RS_HANDLER_CONTEXT;

RS_API RS_WEB_ENV *RsWebEnvInit(RS_INSTANCE *pstInst, u32 uiInstId);
RS_API void RsWebEnvUnInit(RS_WEB_ENV *pstWebEnv);

/* What the registration walk hands over, domain by domain. */
RS_API void RsDomainEnable(RS_WEB_ENV *pstWebEnv, const char *pcHost, const char *pcPort);
RS_API u32 RsGroupEnable(RS_WEB_ENV *pstWebEnv, u32 uiGroupCount);
RS_API void RsAuthEnable(RS_WEB_ENV *pstWebEnv, struct RS_META_AUTH *pstAuth);
RS_API void RsHandlerEnable(RS_WEB_ENV *pstWebEnv, u32 uiGroupId, const char *pcUrl, RS_HANDLER_FUNC pfnHandler);

RS_API u32 RsStartListen(RS_INSTANCE *pstInst);
RS_API u32 RsCheckAbort(RS_WEB_ENV *pstWebEnv);
RS_API RS_HANDLER_CONTEXT *RsCallbackReg(RS_SESSION *pstSession, void *pCallback);
RS_API RS_WEB_ENV *RsWebInstanceGet(u32 uiInstId);
RS_API RS_WEB_ENV *RsWebInstanceGetBySessionId(u32 uiSessionId);

RS_END_DECLS

#endif
