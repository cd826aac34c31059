// The load phase: every module's shared object is opened and its init
// function run before any handler function is resolved, so an init function
// can prepare what its handlers need. Failures are logged and skipped.
#include <dlfcn.h>

#include "config/restserver_cfg_loader.h"
#include "core/restserver_log.h"

// Immediate binding, symbols visible to objects loaded later.
#define RS_DLOPEN_MODE (RTLD_NOW | RTLD_GLOBAL)

extern "C" RS_API u32 RsConfLoad(RS_INSTANCE *pstInst) {
    RsStateSet(pstInst, RS_STATE_LOADING);
    RsConfRootWalkModule(
        pstInst,
        [](void *pRecord, void *pArg) { return RsConfModuleLoad(static_cast<RS_META_MODULE *>(pRecord), pArg); },
        nullptr);
    RsConfRootWalkDomain(
        pstInst,
        [](void *pRecord, void *pArg) { return RsConfDomainLoad(static_cast<RS_META_DOMAIN *>(pRecord), pArg); },
        nullptr);
    return RS_OK;
}

// A module without an init function is not an error.
extern "C" RS_API u32 RsConfModuleLoad(RS_META_MODULE *pstModule, void *pArg) {
    (void)pArg;
    void *pHandle = dlopen(pstModule->acPath, RS_DLOPEN_MODE);
    if (pHandle == nullptr) {
        RS_LOG(RS_LOG_ERROR, "dlopen error - %s.", dlerror());
        return RS_ERR;
    }
    pstModule->pHandle = pHandle;
    pstModule->pfnInit = reinterpret_cast<RS_MODULE_INIT_FUNC>(dlsym(pHandle, pstModule->acInitName));
    if (pstModule->pfnInit != nullptr) (void)pstModule->pfnInit(0, 0);
    return RS_OK;
}

extern "C" RS_API u32 RsConfDomainLoad(RS_META_DOMAIN *pstDomain, void *pArg) {
    RsConfDomainWalkHandler(
        pstDomain,
        [](void *pRecord, void *pWalkArg) {
            return RsConfHandlerLoad(static_cast<RS_META_HANDLER *>(pRecord), pWalkArg);
        },
        pArg);
    return RS_OK;
}

extern "C" RS_API u32 RsConfHandlerLoad(RS_META_HANDLER *pstHandler, void *pArg) {
    (void)pArg;
    RS_META_MODULE *pstModule = RsConfHandlerGetModule(pstHandler);
    if (pstModule == nullptr) {
        RS_LOG(RS_LOG_ERROR, "HandlerLoad error, because moudle is null. Handler name:%s", pstHandler->acHandlerName);
        return RS_ERR;
    }
    if (pstModule->pHandle == nullptr) {
        RS_LOG(RS_LOG_ERROR, "HandlerLoad error, because so-handle is null. So path:%s", pstModule->acPath);
        return RS_ERR;
    }
    (void)dlerror();
    void *pSymbol = dlsym(pstModule->pHandle, pstHandler->acHandlerName);
    if (pSymbol == nullptr) {
        RS_LOG(RS_LOG_ERROR, "dlsym error - %s.", dlerror());
        return RS_ERR;
    }
    RsConfHandlerSetHandler(pstHandler, reinterpret_cast<RS_HANDLER_FUNC>(pSymbol));
    return RS_OK;
}
