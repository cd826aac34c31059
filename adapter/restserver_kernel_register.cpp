// Registration of a domain with the engine: its endpoint, its handler
// groups and its URLs, every URL entering through the root handler with
// its handler context.
#include <stddef.h>
#include <stdlib.h>
#include <string.h>

#include "adapter/restserver_kernel.h"
#include "core/restserver_log.h"
#include "core/restserver_problem.h"
#include "plat_config.h"
#include "plat_kernel.h"
#include "plat_text.h"
#include "web/restserver_web.h"

static_assert(sizeof(RS_END_POINT) == sizeof(REST_END_POINT));
static_assert(offsetof(RS_END_POINT, uiAddrKind) == offsetof(REST_END_POINT, uiAddrKind));
static_assert(offsetof(RS_END_POINT, usPort) == offsetof(REST_END_POINT, usPort));
static_assert(offsetof(RS_END_POINT, pcAddress) == offsetof(REST_END_POINT, pcAddress));

#define RS_BIND_BACKLOG 2048u
#define RS_INST_ID_TEXT_SIZE 32u
#define RS_KERNEL_PATH_SIZE 512u

// A port beyond 16 bits is truncated, as the engine's record holds 16.
extern "C" RS_API void RsEndPointFill(RS_END_POINT *pstEndPoint, const char *pcAddress, const char *pcPort) {
    *pstEndPoint = {};
    pstEndPoint->uiAddrKind = strchr(pcAddress, ':') != nullptr ? 1u : 0u;
    pstEndPoint->usPort = static_cast<u16>(strtoul(pcPort, nullptr, 10));
    pstEndPoint->pcAddress = pcAddress;
}

extern "C" RS_API void RsKernelDomainBind(RS_KERNEL_SERVER *pstServer, const char *pcAddress, const char *pcPort) {
    RS_END_POINT stEndPoint;
    RsEndPointFill(&stEndPoint, pcAddress, pcPort);
    RS_LOG(RS_LOG_INFO, "RsKernelDomainBind, ip:%s, port:%d", pcAddress, stEndPoint.usPort);
    (void)REST_EndPointBind(pstServer->hServer, reinterpret_cast<const REST_END_POINT *>(&stEndPoint), RS_BIND_BACKLOG,
                            0);
}

extern "C" RS_API u32 RsKernelGroupEnable(RS_KERNEL_SERVER *pstServer, u32 uiGroupCount) {
    (void)pstServer;
    RS_LOG(RS_LOG_FINE, "RsKernelGroupEnable, groupNum:%d", uiGroupCount);
    return REST_GroupEnable(uiGroupCount);
}

// Configured URLs are written without their leading "/"; the engine's path gets one.
static u32 RsKernelPathReg(RS_KERNEL_SERVER *pstServer, RS_HANDLER_CONTEXT *pstContext) {
    (void)REST_ServerSvcNameSet(pstServer->hServer, g_stSspBaseAppConfig.acServiceName);
    char acInstId[RS_INST_ID_TEXT_SIZE] = {0};
    (void)snprintf_s(acInstId, sizeof(acInstId), sizeof(acInstId) - 1, "%d", Loc_GetLocalInstanceID());
    (void)REST_ServerInstIDSet(pstServer->hServer, acInstId);
    char acPath[RS_KERNEL_PATH_SIZE] = {0};
    (void)snprintf_s(acPath, sizeof(acPath), sizeof(acPath) - 1, "/%s", pstContext->pcUrl);
    if (pstContext->uiGroupId != RS_GROUP_NONE) {
        return REST_ServerBraceFuncAddbyGroup(pstServer->hServer, acPath, RsSocfRootHandler, pstContext,
                                              pstContext->uiGroupId);
    }
    return REST_ServerBraceFuncAdd(pstServer->hServer, acPath, RsSocfRootHandler, pstContext);
}

extern "C" RS_API void RsKernelHandlerReg(RS_KERNEL_SERVER *pstServer, RS_HANDLER_CONTEXT *pstContext) {
    RS_LOG(RS_LOG_INFO, "Reg hanlder, group:%d, url:%s, handler:%p", pstContext->uiGroupId, pstContext->pcUrl,
           reinterpret_cast<void *>(pstContext->pfnHandler));
    if (pstContext->pcUrl == nullptr) {
        RS_LOG(RS_LOG_ERROR, "Reg hanlder fail, url is null.");
        return;
    }
    if (pstContext->pfnHandler == nullptr) {
        RS_LOG(RS_LOG_ERROR, "Reg hanlder fail, handler is null. Url:%s", pstContext->pcUrl);
        return;
    }
    u32 uiRet = strcmp(pstContext->pcUrl, "/") == 0
                    ? REST_ServerGenFuncAdd(pstServer->hServer, RsSocfRootHandler, pstContext)
                    : RsKernelPathReg(pstServer, pstContext);
    // The engine's answer is counted for the start-up report, and a refusal told to the host.
    if (uiRet == 0) {
        ++pstServer->uiUrlsRegistered;
        return;
    }
    RsProblemReport(
        pstContext->pstWebEnv != nullptr ? pstContext->pstWebEnv->ucInstId : static_cast<u8>(RS_INST_ID_NONE),
        "url %s refused by the engine", pstContext->pcUrl);
}
