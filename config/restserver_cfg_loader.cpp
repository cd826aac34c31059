// The load phase: every module's shared object is opened and its init
// function run before any handler function is resolved, so an init function
// can prepare what its handlers need. Failures are logged and skipped.
#include <dlfcn.h>

#include "config/restserver_cfg_loader.h"
#include "config/restserver_cfg_source.h"
#include "core/restserver_log.h"
#include "core/restserver_problem.h"
#include "plat_text.h"

// Immediate binding, symbols visible to objects loaded later.
#define RS_DLOPEN_MODE (RTLD_NOW | RTLD_GLOBAL)

// The walks carry the instance only to name it in the problems reported to
// the host; a walk argument of null names no instance.
static u8 RsConfLoadInstId(const void *pArg) {
    return pArg != nullptr ? static_cast<const RS_INSTANCE *>(pArg)->ucInstId : static_cast<u8>(RS_INST_ID_NONE);
}

extern "C" RS_API u32 RsConfLoad(RS_INSTANCE *pstInst) {
    RsStateSet(pstInst, RS_STATE_LOADING);
    RsConfRootWalkModule(
        pstInst,
        [](void *pRecord, void *pArg) { return RsConfModuleLoad(static_cast<RS_META_MODULE *>(pRecord), pArg); },
        pstInst);
    RsConfRootWalkDomain(
        pstInst,
        [](void *pRecord, void *pArg) { return RsConfDomainLoad(static_cast<RS_META_DOMAIN *>(pRecord), pArg); },
        pstInst);
    return RS_OK;
}

// A module without an init function is not an error; a load line that names
// one the module lacks is.
extern "C" RS_API u32 RsConfModuleLoad(RS_META_MODULE *pstModule, void *pArg) {
    void *pHandle = dlopen(pstModule->acPath, RS_DLOPEN_MODE);
    if (pHandle == nullptr) {
        const char *pcError = dlerror();
        RS_LOG(RS_LOG_ERROR, "dlopen error - %s.", pcError);
        RsProblemReport(RsConfLoadInstId(pArg), "%smodule %s not loaded: %s", RsConfWhere(pstModule).acText,
                        pstModule->acPath, pcError);
        return RS_ERR;
    }
    pstModule->pHandle = pHandle;
    pstModule->pfnInit = reinterpret_cast<RS_MODULE_INIT_FUNC>(dlsym(pHandle, pstModule->acInitName));
    if (pstModule->pfnInit != nullptr) {
        (void)pstModule->pfnInit(0, 0);
    } else if (pstModule->acInitName[0] != '\0') {
        RS_LOG(RS_LOG_ERROR, "Init function %s not found in %s.", pstModule->acInitName, pstModule->acPath);
        RsProblemReport(RsConfLoadInstId(pArg), "%sinit function %s not found in %s", RsConfWhere(pstModule).acText,
                        pstModule->acInitName, pstModule->acPath);
    }
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
    RS_META_MODULE *pstModule = RsConfHandlerGetModule(pstHandler);
    if (pstModule == nullptr) {
        RS_LOG(RS_LOG_ERROR, "HandlerLoad error, because moudle is null. Handler name:%s", pstHandler->acHandlerName);
        RsProblemReport(RsConfLoadInstId(pArg), "%surl %s: handler %s has no module (no load line before it)",
                        RsConfWhere(pstHandler).acText, pstHandler->acUrl, pstHandler->acHandlerName);
        return RS_ERR;
    }
    if (pstModule->pHandle == nullptr) {
        RS_LOG(RS_LOG_ERROR, "HandlerLoad error, because so-handle is null. So path:%s", pstModule->acPath);
        RsProblemReport(RsConfLoadInstId(pArg), "%surl %s: handler %s not resolved, module %s not loaded",
                        RsConfWhere(pstHandler).acText, pstHandler->acUrl, pstHandler->acHandlerName,
                        pstModule->acPath);
        return RS_ERR;
    }
    (void)dlerror();
    void *pSymbol = dlsym(pstModule->pHandle, pstHandler->acHandlerName);
    if (pSymbol == nullptr) {
        RS_LOG(RS_LOG_ERROR, "dlsym error - %s.", dlerror());
        RsProblemReport(RsConfLoadInstId(pArg), "%surl %s: handler %s not found in %s", RsConfWhere(pstHandler).acText,
                        pstHandler->acUrl, pstHandler->acHandlerName, pstModule->acPath);
        return RS_ERR;
    }
    RsConfHandlerSetHandler(pstHandler, reinterpret_cast<RS_HANDLER_FUNC>(pSymbol));
    return RS_OK;
}
