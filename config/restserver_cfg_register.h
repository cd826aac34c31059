/*
 * Register phase: each domain, its handler groups, its TLS entry and its
 * handlers are handed, in file order, to the instance's web environment.
 */
#ifndef RESTSERVER_CFG_REGISTER_H
#define RESTSERVER_CFG_REGISTER_H

#include "config/restserver_cfg.h"

RS_BEGIN_DECLS

RS_API u32 RsConfRegister(RS_INSTANCE *pstInst);
RS_API u32 RsConfDomainRegister(RS_META_DOMAIN *pstDomain, RS_INSTANCE *pstInst);
RS_API u32 RsConfGroupRegister(u32 uiMaxGroupId, RS_INSTANCE *pstInst);
RS_API u32 RsConfAuthRegister(RS_META_AUTH *pstAuth, RS_INSTANCE *pstInst);
RS_API u32 RsConfHandlerRegister(RS_META_HANDLER *pstHandler, RS_INSTANCE *pstInst);
/* Does nothing: there is nothing of authentication to register per instance. */
RS_API u32 RsAuthRegister(void);
/* Parse, load and register in one call, for hosts that do not use the start-up machine. */
RS_API void RsConfServerConfigInject(RS_INSTANCE *pstInst);

RS_END_DECLS

#endif
