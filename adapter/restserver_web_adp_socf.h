/*
 * The adapter as the web environment sees it: the instance's kernel server
 * cell, brought up when the instance is made, given its domains, groups,
 * TLS and URLs by the enable operations, started by the listen step and
 * stopped at teardown; and stand-alone request and response objects (a
 * session embeds its own). Records of the other layers appear only as
 * incomplete types, so this header includes nothing from web/ or adapter/.
 */
#ifndef RESTSERVER_WEB_ADP_SOCF_H
#define RESTSERVER_WEB_ADP_SOCF_H

#include "plat_types.h"
#include "restserver_export.h"
#include "restserver_handler.h"

RS_BEGIN_DECLS

typedef struct RS_KERNEL_SERVER RS_KERNEL_SERVER;
struct RS_META_AUTH;
struct RS_HANDLER_CONTEXT;

/* Kernel server cell: null from RsKernelInit when the engine or the authentication settings fail. */
RS_API RS_KERNEL_SERVER *RsKernelInit(void);
/*
 * Stops the engine server once (later calls repeat the answer) and writes
 * the pending trace records, which name this server's URLs. Non-zero when
 * handlers still run after the grace period: what they use must be kept.
 */
RS_API u32 RsKernelStop(RS_KERNEL_SERVER *pstServer);
/* Stops the server if need be and frees it and the cell; a busy server is kept. */
RS_API void RsKernelUnInit(RS_KERNEL_SERVER *pstServer);
RS_API void RsKernelDomainBind(RS_KERNEL_SERVER *pstServer, const char *pcAddress, const char *pcPort);
RS_API u32 RsKernelGroupEnable(RS_KERNEL_SERVER *pstServer, u32 uiGroupCount);
RS_API void RsKernelAuthEnable(RS_KERNEL_SERVER *pstServer, struct RS_META_AUTH *pstAuth);
RS_API void RsKernelHandlerReg(RS_KERNEL_SERVER *pstServer, struct RS_HANDLER_CONTEXT *pstContext);
RS_API u32 RsKernelForkListenThread(RS_KERNEL_SERVER *pstServer);
/* Before any start: reports through the problem sink why the TLS settings
 * handed over would keep the server from starting; 0 when nothing would. */
RS_API u32 RsKernelTlsCheck(RS_KERNEL_SERVER *pstServer, u8 ucInstId);

/* Stand-alone request and response objects: null when the allocation fails. */
RS_API RS_REQUEST *RsRequestBuild(RS_SESSION *pstSession, void *pHandle);
RS_API RS_RESPONSE *RsResponseBuild(RS_SESSION *pstSession, void *pHandle);
RS_API void RsRequestFree(RS_REQUEST **ppstRequest);
RS_API void RsResponseFree(RS_RESPONSE **ppstResponse);

RS_END_DECLS

#endif
