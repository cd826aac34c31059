/*
 * Load phase: every configured module's shared object is opened and its init
 * function run, then every handler function is resolved by name.
 */
#ifndef RESTSERVER_CFG_LOADER_H
#define RESTSERVER_CFG_LOADER_H

#include "config/restserver_cfg.h"

RS_BEGIN_DECLS

RS_API u32 RsConfLoad(RS_INSTANCE *pstInst);
RS_API u32 RsConfModuleLoad(RS_META_MODULE *pstModule, void *pArg);
RS_API u32 RsConfDomainLoad(RS_META_DOMAIN *pstDomain, void *pArg);
RS_API u32 RsConfHandlerLoad(RS_META_HANDLER *pstHandler, void *pArg);

RS_END_DECLS

#endif
